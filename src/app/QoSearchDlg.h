#pragma once
// The program's only window, "<vendor> <product> - Search": three tabbed panes
// (where to look, what to look for, a preview of the selected message), the
// "Find Now", "Stop" and "Clear" buttons, a status line and the results list.
// The search cycle does the work; the window shows what it reports and hands
// it the indexer's messages, which arrive as posted events.
//
// Before the first search only the upper part shows and the window can grow
// only sideways; "Find Now" opens the results area, "Clear" closes it again
// and keeps the height the user gave the window for the next search.

#include "app/WindowEventSink.h"
#include "controls/ResultsRow.h"
#include "cycle/MailSearchCycle.h"
#include "mail/SearchWords.h"

#include <QDialog>
#include <QElapsedTimer>
#include <QIcon>
#include <QItemSelection>

#include <memory>
#include <optional>
#include <string>
#include <vector>

class CPreviewDlg;
class CSearchCriteriaDlg;
class CSearchLocation;
class QGroupBox;
class QLabel;
class QLayout;
class QMenu;
class QProgressBar;
class QPushButton;
class QTabWidget;

namespace Kerf::QuireLib {
class CSortListCtrl;
}

class CQoSearchDlg : public QDialog, public Kerf::QuireLib::ISearchView {
    Q_OBJECT
public:
    static constexpr int kResultsListId = 1004;
    enum Pane { eLocationPane = 0, eCriteriaPane = 1, ePreviewPane = 2 };

    /// Builds the window, opens (creating when missing) the user's index and
    /// its searcher.
    explicit CQoSearchDlg(QWidget* parent = nullptr);
    /// The window for an index of its own (tests and benchmarks).
    CQoSearchDlg(const Kerf::QuireLib::CRecursiveMailIndexer::IndexPlace& place,
                 QWidget* parent = nullptr);
    ~CQoSearchDlg() override;

    // What the search cycle shows.
    void setStatusText(const std::wstring& text) override;
    void deleteAllRows() override;
    void clearPreview() override;
    void startOptimisedAdd(std::size_t expectedRows) override;
    void insertItem(const Kerf::QuireLib::CEmailMetadata& record) override;
    void finishOptimisedAdd() override;
    std::size_t getItemCount() const override;
    void sortPendingRows() override;
    void showIndexerCounts(std::size_t indexed, std::size_t remaining) override;
    void beginWaitCursor() override;
    void endWaitCursor() override;
    /// A message box, besides the status line, that the user cannot miss.
    void showIndexingFailure(const std::wstring& text) override;

    /// What the results list shows of a record: insertItem() adds this row.
    static Kerf::QuireLib::ResultsRow::Hit resultsHit(const Kerf::QuireLib::CEmailMetadata& record);

    /// True when the location pane offers at least one place to search.
    bool isFindNowAvailable();
    void OnBnClickedFindnow();
    /// The results of the work done so far, then the work ends.
    void OnBnClickedStop();
    void OnBnClickedClear();
    /// Enter: a search when one can start, otherwise nothing.
    void OnOK();
    /// Ends any running work (closing, end of session, Escape).
    void stopWork();
    void ShowWindowNumber(int pane);
    /// Ctrl+L: the location filter (choosing the filing locations).
    void focusLocationFilter();
    /// Ctrl+R: the results list, once it shows.
    void focusResults();
    /// Raises, activates and (when minimised) restores the window.
    void bringToFront();

    std::wstring getItemDirectory(int row) const;
    std::wstring getItemBasename(int row) const;
    std::wstring getItemPath(int row) const;
    std::vector<int> getSelectedItems() const;
    std::vector<std::wstring> getItemPaths(const std::vector<int>& rows) const;
    std::vector<std::wstring> getSelectedPaths() const;
    void ensureSelectedVisibility();
    std::optional<Kerf::QuireLib::CEmailMetadata>
    getDocumentFromIndex(const std::wstring& path) const;

    void OpenItems();
    void ExploreItems();
    void SendQoLink();
    void CutItems();
    void CopyItems();
    void DeleteItems();
    /// The results list's context menu, its entries wired to the handlers above.
    QMenu* createResultsMenu(QWidget* parent);

    void openHelp();
    void showAbout();

    Kerf::QuireLib::CMailSearchCycle& cycle() { return m_cycle; }
    Kerf::QuireLib::CSortListCtrl& resultsList() { return *m_ctlResults; }
    CSearchLocation& locationPane() { return *m_pLocation; }
    CSearchCriteriaDlg& criteriaPane() { return *m_pCriteria; }
    CPreviewDlg& previewPane() { return *m_pPreview; }
    QTabWidget& tabs() { return *m_pTabs; }
    QPushButton& findNowButton() { return *m_pFindNow; }
    QPushButton& stopButton() { return *m_pStop; }
    QPushButton& clearButton() { return *m_pClear; }
    QLabel& statusLabel() { return *m_pStatus; }
    /// Beside the status line while indexing runs.
    QProgressBar& progressBar() { return *m_pProgress; }
    QGroupBox& resultsGroup() { return *m_pResultsGroup; }
    bool isResultsShown() const { return m_bResultsShown; }
    int collapsedHeight() const;
    int fullHeight() const { return m_iFullHeight; }

public slots:
    void reject() override;
    void accept() override;

protected:
    bool event(QEvent* e) override;
    void keyPressEvent(QKeyEvent* e) override;

private:
    void buildControls();
    void initialise();
    void setInitialResultWidths();
    /// The size and place the user gave the window last time; on the first
    /// start two thirds of the screen.
    void restoreWindowPlace();
    void saveWindowPlace() const;
    void ClearDialogueOnInitialization();
    void Findnow();
    void updateButtons();
    void showResultsArea();
    void collapseResultsArea();
    void OnLvnItemchangedResults(const QItemSelection& selected);
    void OnNMDblclkResults(const QModelIndex& index);
    void OnNMRclickResults(const QPoint& position);
    bool confirmDelete(std::size_t count, const std::wstring& firstPath);

    std::shared_ptr<CWindowEventSink> m_pSink;
    Kerf::QuireLib::CMailSearchCycle m_cycle;
    QLayout* m_pUpperLayout = nullptr; // the tabs and the buttons beside them
    QTabWidget* m_pTabs = nullptr;
    CSearchLocation* m_pLocation = nullptr;
    CSearchCriteriaDlg* m_pCriteria = nullptr;
    CPreviewDlg* m_pPreview = nullptr;
    QPushButton* m_pFindNow = nullptr;
    QPushButton* m_pStop = nullptr;
    QPushButton* m_pClear = nullptr;
    QLabel* m_pStatus = nullptr;
    QProgressBar* m_pProgress = nullptr;
    QGroupBox* m_pResultsGroup = nullptr;
    Kerf::QuireLib::CSortListCtrl* m_ctlResults = nullptr;
    QLabel* m_pHelpLink = nullptr;
    QLabel* m_pAboutLink = nullptr;
    QLabel* m_pIcon = nullptr;
    QIcon m_hIcon;
    QElapsedTimer m_statusClock;
    int m_iWaitDepth = 0;
    bool m_bSortPending = false;
    bool m_bResultsShown = false;
    int m_iFullHeight = 0;
    // What the last search looked for: the preview highlights these words.
    std::vector<Kerf::QuireLib::SearchWord> m_searchWords;
};
