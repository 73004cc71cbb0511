#pragma once
// The filing-store list as the location pane shows it: the sortable list
// over the store list model, which gathers the locations from the store
// database and the central filing lists and filters them. The columns
// "Store ID" and "Source" are there but hidden; "Location" holds the path.

#include "controls/SortListCtrl.h"
#include "stores/MsgStoresListModel.h"

#include <memory>
#include <string>

namespace Kerf::QuireLib {

class CMsgStoresSortListCtrl : public CSortListCtrl {
    Q_OBJECT
public:
    static constexpr int kControlId = 1001;
    static constexpr int kLocationColumn = CMsgStoresListModel::eColLocation;

    /// Reads the central filing lists; the columns come with Initialise().
    explicit CMsgStoresSortListCtrl(QWidget* parent = nullptr);

    /// Column titles; they take effect when Initialise() declares the columns.
    void SetPrimaryRefTitle(const std::wstring& s) { m_stores->SetPrimaryRefTitle(s); }
    void SetSecondaryRefTitle(const std::wstring& s) { m_stores->SetSecondaryRefTitle(s); }
    void SetDescriptionTitle(const std::wstring& s) { m_stores->SetDescriptionTitle(s); }

    /// Declares the columns, restores their saved widths and hides the first two.
    void Initialise();

    /// Reloads the locations of the kind from every source and shows them all.
    bool LoadStoreLocations(int kind);
    /// Shows the loaded locations that hold the text (letter case ignored).
    void Filter(const std::wstring& text);

    CMsgStoresListModel& GetStoresModel() { return *m_stores; }

private:
    void ShowModelRows();

    std::unique_ptr<CMsgStoresListModel> m_stores;
};

} // namespace Kerf::QuireLib
