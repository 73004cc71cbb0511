#pragma once
// The "Location" tab: where a search looks. Either filing locations picked
// from the filing-store list (mode 0) or one folder typed or browsed for
// (mode 1). Mode and folder are kept per user (settings group "Search") from
// one run to the next; they are written when the pane goes away.

#include "app/MsgStoresSortListCtrl.h"

#include <QWidget>

#include <string>
#include <vector>

class QButtonGroup;
class QLineEdit;
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

    /// The texts in the column of every selected row, in display order.
    static std::vector<std::wstring> GetSelectedListItems(const Kerf::QuireLib::CSortListCtrl& list,
                                                          int column);

    int GetLocationOrFolder() const { return m_iLocationOrFolder; }
    const std::wstring& GetSearchFolder() const { return m_sSearchFolder; }
    /// Free texts carried for the query builder; nothing here sets them.
    const std::wstring& GetKeywords() const { return m_sKeywords; }
    const std::wstring& GetRawQuery() const { return m_sRawQuery; }

    Kerf::QuireLib::CMsgStoresSortListCtrl& GetLocationsList() { return *m_ctlLocationsList; }
    QLineEdit& GetFilterEdit() { return *m_pFilterEdit; }
    QLineEdit& GetFolderEdit() { return *m_pFolderEdit; }
    QPushButton& GetBrowseButton() { return *m_pBrowseButton; }
    QRadioButton& GetLocationsRadio() { return *m_pLocationsRadio; }
    QRadioButton& GetFolderRadio() { return *m_pFolderRadio; }

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
    int m_iLocationOrFolder = 0;
    std::vector<std::wstring> m_vUnreachable;
};
