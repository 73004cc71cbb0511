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

    static constexpr const char* kLoadingText = "Loading filing locations...";

    /// Reads no source yet; the columns come with Initialise() and the rows
    /// with a load.
    explicit CMsgStoresSortListCtrl(QWidget* parent = nullptr);

    /// Column titles; they take effect when Initialise() declares the columns.
    void SetPrimaryRefTitle(const std::wstring& s) { m_stores->SetPrimaryRefTitle(s); }
    void SetSecondaryRefTitle(const std::wstring& s) { m_stores->SetSecondaryRefTitle(s); }
    void SetDescriptionTitle(const std::wstring& s) { m_stores->SetDescriptionTitle(s); }

    /// Declares the columns, restores their saved widths and hides the first two.
    void Initialise();

    /// Reloads the locations of the kind from every source and shows them all.
    bool LoadStoreLocations(int kind);
    /// Reads the store database and the central lists on a worker thread and
    /// shows their locations of the kind when they arrive; until then the
    /// list says it is loading. A failing source is reported then.
    void LoadStoreLocationsInBackground(int kind);
    bool IsLoading() const { return m_bLoading; }

    /// Where the row's location is on this computer, or why it cannot be
    /// searched (such a row is shown dimmed, the reason as its tool tip).
    LocatedPath LocateRow(int row) const;
    /// Shows the loaded locations that hold the text (letter case ignored).
    void Filter(const std::wstring& text);

    CMsgStoresListModel& GetStoresModel() { return *m_stores; }

signals:
    /// The locations read in the background are shown.
    void locationsLoaded();

protected:
    void paintEvent(QPaintEvent* event) override;
    bool viewportEvent(QEvent* event) override;

private:
    void ShowLoadedRows(const CMsgStoresListModel::SourceRows& rows, int kind);
    void ShowModelRows();

    std::unique_ptr<CMsgStoresListModel> m_stores;
    std::wstring m_sFilter;
    bool m_bLoading = false;
};

} // namespace Kerf::QuireLib
