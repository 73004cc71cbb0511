#pragma once
// The "Location" tab: what to look for in a few words ("Search for:", any
// word in any field) and where to look. Either filing locations picked
// from the filing-store list (mode 0) or one folder typed or browsed for
// (mode 1). While the store list has no location at all, the list's place
// says where locations come from and offers to search a folder instead. Mode and folder are kept
// per user (settings group "Search") from one run to the next; they are written when the pane goes
// away.

#include "app/MsgStoresSortListCtrl.h"

#include <QWidget>

#include <string>
#include <utility>
#include <vector>

class QButtonGroup;
class QLabel;
class QLineEdit;
class QStackedWidget;
class QPushButton;
class QRadioButton;

class CSearchLocation : public QWidget {
    Q_OBJECT
public:
    static constexpr const char* kSettingsGroup = "Search";
    static constexpr const char* kFolderValue = "m_sSearchFolder";
    static constexpr const char* kModeValue = "m_iLocationOrFolder";

    /// Reads the stored mode and folder, builds the controls and loads the
    /// file-system filing locations.
    explicit CSearchLocation(QWidget* parent = nullptr);
    /// Stores the mode, the folder and the list's column widths.
    ~CSearchLocation() override;

    /// The folders to search: in mode 0 the selected locations in display
    /// order (a lone location counts as chosen), otherwise the folder text;
    /// paths written the Windows way are mapped to where they are here.
    std::vector<std::wstring> GetSearchLocations();
    /// The chosen locations the last GetSearchLocations() left out because
    /// they cannot be reached, each with its reason.
    const std::vector<std::wstring>& GetUnreachableLocations() const { return m_vUnreachable; }
    bool AreSearchLocationsAvailable();
    /// The reference of the filing location the last GetSearchLocations()
    /// gave this path for; empty for a folder or a location without one.
    std::wstring GetLocationName(const std::wstring& path) const;
    /// Why nothing can be searched yet, for the user; empty when something can.
    QString whyNothingToSearch();

    /// The texts in the column of every selected row, in display order.
    static std::vector<std::wstring> GetSelectedListItems(const Kerf::QuireLib::CSortListCtrl& list,
                                                          int column);

    int GetLocationOrFolder() const { return m_iLocationOrFolder; }
    const std::wstring& GetSearchFolder() const { return m_sSearchFolder; }
    /// The "Search for:" text: its words in any field; the query text is
    /// carried for the query builder and nothing here shows it.
    std::wstring GetKeywords() const;
    const std::wstring& GetRawQuery() const { return m_sRawQuery; }
    /// True while the store list is loaded and has no location at all.
    bool IsShowingNoLocationsHint() const;

    Kerf::QuireLib::CMsgStoresSortListCtrl& GetLocationsList() { return *m_ctlLocationsList; }
    QLineEdit& GetFilterEdit() { return *m_pFilterEdit; }
    QLineEdit& GetFolderEdit() { return *m_pFolderEdit; }
    QPushButton& GetBrowseButton() { return *m_pBrowseButton; }
    QRadioButton& GetLocationsRadio() { return *m_pLocationsRadio; }
    QRadioButton& GetFolderRadio() { return *m_pFolderRadio; }
    QLineEdit& GetKeywordsEdit() { return *m_pKeywordsEdit; }
    QPushButton& GetSearchAFolderButton() { return *m_pSearchAFolder; }

signals:
    /// Something changed that may change AreSearchLocationsAvailable().
    void locationsChanged();
    /// A location was double-clicked: stop any search and search again.
    void searchAgainRequested();

private:
    void InitLocationListHeaders();
    /// true: controls into members; false: members into controls.
    void UpdateData(bool bSaveAndValidate);
    void updateDialogItems();
    void OnBnClickedFolderBrowse();
    /// Folder mode, then the folder picker.
    void OnBnClickedSearchAFolder();
    void updateNoLocationsHint();
    void OnBnClickedRadio();
    void OnEnChangeLocFilter();
    void OnLvnItemchangedSearchlocations();
    void OnNMDblclkSearchlocations(const QModelIndex& index);
    void ReadStoredChoice();
    void WriteStoredChoice() const;

    std::wstring m_sKeywords;
    std::wstring m_sRawQuery;
    Kerf::QuireLib::CMsgStoresSortListCtrl* m_ctlLocationsList;
    QLineEdit* m_pFilterEdit;
    std::wstring m_sFilterText;
    std::wstring m_sSearchFolder;
    QLineEdit* m_pFolderEdit;
    QPushButton* m_pBrowseButton;
    QRadioButton* m_pLocationsRadio;
    QRadioButton* m_pFolderRadio;
    QButtonGroup* m_pModeGroup;
    QLineEdit* m_pKeywordsEdit;
    QLineEdit* m_pRawQueryEdit;
    QStackedWidget* m_pListOrHint;
    QLabel* m_pNoLocationsText;
    QPushButton* m_pSearchAFolder;
    int m_iLocationOrFolder = 0;
    std::vector<std::wstring> m_vUnreachable;
    std::vector<std::pair<std::wstring, std::wstring>> m_vLocationNames; // path, reference
};
