#pragma once
// The program's only window, "<vendor> <product> - Search": the criteria above
// (two tabs: where and what to look for, and more choices), the "Find Now",
// "Stop" and "Clear" buttons beside them, a status line, and below it the
// results list and the preview of the selected message side by side (or the
// preview below the list, as the user chose last). The search cycle does the
// work; the window shows what it reports and hands it the indexer's
// messages, which arrive as posted events.

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
class QFileSystemWatcher;
class QGroupBox;
class QLabel;
class QLayout;
class QMenu;
class QProgressBar;
class QPushButton;
class QSplitter;
class QTabWidget;
class QTimer;
class QToolButton;

namespace Kerf::QuireLib {
class CSortListCtrl;
}

class CQoSearchDlg : public QDialog, public Kerf::QuireLib::ISearchView {
    Q_OBJECT
public:
    static constexpr int kResultsListId = 1004;
    enum Pane { eLocationPane = 0, eCriteriaPane = 1 };

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
    /// The bar above the list with the same words and "Search again".
    void showIncompleteResults(const std::wstring& text) override;

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
    /// Ends any running work (closing, end of session).
    void stopWork();
    /// Escape: empties the criterion being typed, or stops the search;
    /// never closes the window.
    void OnEscape();
    /// Ctrl+F: the "Search for:" box.
    void focusSearchBox();
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
    /// The results list and the preview, side by side or one above the other.
    QSplitter& resultsSplitter() { return *m_pSplitter; }
    /// The bar above the list while the results are not all there are.
    QWidget& incompleteBar() { return *m_pIncompleteBar; }
    QLabel& incompleteText() { return *m_pIncompleteText; }
    QPushButton& searchAgainButton() { return *m_pSearchAgain; }
    /// The preview below the list instead of beside it; kept per user.
    void setPreviewBelow(bool below);
    bool isPreviewBelow() const;

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
    /// While indexing runs, rows of what it has committed show every few seconds.
    void refreshWhileIndexing();
    void OnLvnItemchangedResults(const QItemSelection& selected);
    void OnNMDblclkResults(const QModelIndex& index);
    void OnNMRclickResults(const QPoint& position);
    bool confirmDelete(std::size_t count, const std::wstring& firstPath);
    /// Removes the rows whose files are gone; the count and the preview follow.
    void removeRowsOfGoneFiles(std::vector<int> rows);
    /// Rows whose files may move away (cut): a move removes their rows.
    void watchFiles(const std::vector<std::wstring>& paths);
    void OnWatchedFileChanged(const QString& file);

    std::shared_ptr<CWindowEventSink> m_pSink;
    Kerf::QuireLib::CMailSearchCycle m_cycle;
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
    QSplitter* m_pSplitter = nullptr;
    QToolButton* m_pPreviewBelow = nullptr;
    QWidget* m_pIncompleteBar = nullptr;
    QLabel* m_pIncompleteText = nullptr;
    QPushButton* m_pSearchAgain = nullptr;
    QTimer* m_pRefreshTimer = nullptr;
    QFileSystemWatcher* m_pWatcher = nullptr;
    Kerf::QuireLib::CSortListCtrl* m_ctlResults = nullptr;
    QLabel* m_pHelpLink = nullptr;
    QLabel* m_pAboutLink = nullptr;
    QLabel* m_pIcon = nullptr;
    QIcon m_hIcon;
    QElapsedTimer m_statusClock;
    int m_iWaitDepth = 0;
    bool m_bSortPending = false;
    // While rows of a commit join the list, the selected row is not scrolled to.
    bool m_bKeepScroll = false;
    // What the last search looked for: the preview highlights these words.
    std::vector<Kerf::QuireLib::SearchWord> m_searchWords;
    // The places of the last search: the Folder column shows paths below them.
    std::vector<Kerf::QuireLib::ResultsRow::Place> m_searchedPlaces;
};
