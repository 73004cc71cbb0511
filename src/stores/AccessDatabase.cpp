#include "stores/AccessDatabase.h"

#include "support/Strings.h"
#include "support/Trace.h"

#include <mdbtools.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace Kerf::QuireLib {

struct CAccessDatabase::Handle {
    MdbHandle* mdb = nullptr;
    ~Handle() {
        if (mdb != nullptr)
            mdb_close(mdb);
    }
};

namespace {

struct TableDeleter {
    void operator()(MdbTableDef* table) const { mdb_free_tabledef(table); }
};
using TablePtr = std::unique_ptr<MdbTableDef, TableDeleter>;

} // namespace

bool CAccessDatabase::LooksLikeAccessFile(const std::wstring& sPath) {
    // The format is named at byte 4; the library would complain about
    // anything else on the terminal.
    std::ifstream in(Util::toPath(sPath), std::ios::binary);
    char header[19] = {};
    in.read(header, sizeof header);
    const std::string_view format(header + 4, 15);
    return in && (format == "Standard Jet DB" || format == "Standard ACE DB");
}

bool CAccessDatabase::IsWholeNumberOfPages(const std::wstring& sPath) {
    // A file cut short (a copy that broke off) ends inside a page; the
    // library then reads past its end and fills the terminal with warnings.
    // The version at byte 20 sets the page size: 2 KB for the oldest format.
    std::ifstream in(Util::toPath(sPath), std::ios::binary | std::ios::ate);
    const std::streamoff size = in.tellg();
    char version = 0;
    in.seekg(0x14);
    in.read(&version, 1);
    const std::streamoff page = version == 0 ? 2048 : 4096;
    return in && size > 0 && size % page == 0;
}

CAccessDatabase::CAccessDatabase(const std::wstring& sPath)
    : m_sPath(sPath), m_pHandle(std::make_unique<Handle>()) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(Util::toPath(sPath), ec))
        throw CDbException(L"Store database not found: " + sPath);
    if (!LooksLikeAccessFile(sPath))
        throw CDbException(L"Cannot open the store database \"" + sPath +
                           L"\": not an Access database");
    if (!IsWholeNumberOfPages(sPath))
        throw CDbException(L"Cannot open the store database \"" + sPath +
                           L"\": the Access file is cut short");
    m_pHandle->mdb = mdb_open(Util::toNarrow(sPath).c_str(), MDB_NOFLAGS);
    if (m_pHandle->mdb == nullptr)
        throw CDbException(L"Cannot open the store database \"" + sPath +
                           L"\": the Access file cannot be read");
    Trace::tracef("Access database %s opened, Jet version %u\n", Util::toNarrow(sPath).c_str(),
                  static_cast<unsigned>(m_pHandle->mdb->f->jet_version));
}

CAccessDatabase::~CAccessDatabase() = default;

std::vector<CAccessDatabase::Row>
CAccessDatabase::ReadTable(const std::wstring& sTable, const std::vector<std::wstring>& vColumns) {
    MdbHandle* mdb = m_pHandle->mdb;
    std::string name = Util::toNarrow(sTable);
    TablePtr table(mdb_read_table_by_name(mdb, name.data(), MDB_TABLE));
    if (!table)
        throw CDbException(L"The store database \"" + m_sPath + L"\" has no table \"" + sTable +
                           L"\"");
    if (mdb_read_columns(table.get()) == nullptr)
        throw CDbException(L"Cannot read the columns of table \"" + sTable + L"\"");
    mdb_rewind_table(table.get());

    // Which table column (from 1) each wanted column is. OLE objects have
    // no text; a store table holds none.
    std::vector<std::pair<int, std::wstring>> picks;
    for (unsigned i = 0; i < table->num_cols; ++i) {
        const auto* col = static_cast<MdbColumn*>(g_ptr_array_index(table->columns, i));
        if (col->col_type == MDB_OLE)
            continue;
        const std::wstring colName = Util::toWide(col->name);
        if (vColumns.empty())
            picks.emplace_back(static_cast<int>(i) + 1, colName);
        for (const auto& wanted : vColumns)
            if (Util::compareNoCase(wanted, colName) == 0)
                picks.emplace_back(static_cast<int>(i) + 1, wanted);
    }
    for (const auto& wanted : vColumns) {
        if (std::none_of(picks.begin(), picks.end(),
                         [&](const auto& pick) { return pick.second == wanted; }))
            throw CDbException(L"Table \"" + sTable + L"\" of \"" + m_sPath +
                               L"\" has no column \"" + wanted + L"\"");
    }
    // The library writes each value's text into its column's buffer.
    struct Bound {
        std::vector<char> text;
        int length = 0;
    };
    std::vector<Bound> bound(picks.size());
    for (size_t i = 0; i < picks.size(); ++i) {
        bound[i].text.assign(mdb->bind_size + 1, '\0');
        mdb_bind_column(table.get(), picks[i].first, bound[i].text.data(), &bound[i].length);
    }

    std::vector<Row> rows;
    rows.reserve(table->num_rows);
    while (mdb_fetch_row(table.get())) {
        Row row;
        for (size_t i = 0; i < picks.size(); ++i) {
            const size_t length =
                std::min<size_t>(static_cast<size_t>(std::max(bound[i].length, 0)), mdb->bind_size);
            row[picks[i].second] = Util::toWide(std::string_view(bound[i].text.data(), length));
        }
        rows.push_back(std::move(row));
    }
    return rows;
}

} // namespace Kerf::QuireLib
