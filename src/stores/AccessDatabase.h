#pragma once
// An Access (Jet) database file read with MDB Tools' library, never written:
// the tables by name and their rows as text. The store tables are joined
// from these rows by the store database itself; there is no SQL here.

#include "stores/DbTableHelper.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Kerf::QuireLib {

class CAccessDatabase {
public:
    /// Column name (as the table spells it) to the value as text; an empty
    /// value stands for an empty or missing one.
    using Row = std::map<std::wstring, std::wstring>;

    /// Opens the file read-only. Throws CDbException when it is missing or
    /// is not an Access database.
    explicit CAccessDatabase(const std::wstring& sPath);
    ~CAccessDatabase();
    CAccessDatabase(const CAccessDatabase&) = delete;
    CAccessDatabase& operator=(const CAccessDatabase&) = delete;

    const std::wstring& GetPath() const { return m_sPath; }
    /// Every row of the table with the named columns (all columns when none
    /// are named), keyed by the names as given. Throws CDbException naming the
    /// table or column that is missing.
    std::vector<Row> ReadTable(const std::wstring& sTable,
                               const std::vector<std::wstring>& vColumns = {});

    /// Whether the file starts as an Access database does.
    static bool LooksLikeAccessFile(const std::wstring& sPath);
    /// Whether the file holds whole pages of its format, as one not cut
    /// short does.
    static bool IsWholeNumberOfPages(const std::wstring& sPath);

private:
    std::wstring m_sPath;
    struct Handle;
    std::unique_ptr<Handle> m_pHandle;
};

} // namespace Kerf::QuireLib
