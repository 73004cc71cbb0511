#include "app/QoSearchDlg.h"

#include "app/ContainingFolder.h"
#include "app/DesktopAssociation.h"
#include "app/DialogUnits.h"
#include "app/FileMovement.h"
#include "app/PreviewDlg.h"
#include "app/ProgramIcons.h"
#include "app/QoSearchApp.h"
#include "app/SearchCriteriaDlg.h"
#include "app/SearchLocation.h"
#include "app/TranslateWindow.h"
#include "controls/PlainText.h"
#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"
#include "cycle/UserPlaces.h"
#include "stores/UserSettings.h"
#include "support/Assert.h"
#include "support/Paths.h"
#include "support/Trace.h"

#include <QApplication>
#include <QDesktopServices>
#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QFrame>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QProgressBar>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollBar>
#include <QShortcut>
#include <QSplitter>
#include <QStyle>
#include <QTabWidget>
#include <QTimer>
#include <QToolButton>
#include <QUrl>
#include <QVBoxLayout>

#include <limits>

using Kerf::QuireLib::CEmailMetadata;
using Kerf::QuireLib::CRecursiveMailIndexer;
using Kerf::QuireLib::CSortListCtrl;
namespace ResultsRow = Kerf::QuireLib::ResultsRow;

namespace {

constexpr int kMargin = 10;
constexpr int kSpacing = 6;
// Where the window's place is kept per user, beside the other choices.
constexpr const char* kGeometryValue = "Search/WindowGeometry";
constexpr const char* kSplitterValue = "Search/ResultsSplitter";
constexpr const char* kPreviewBelowValue = "Search/PreviewBelow";
constexpr int kStatusRepaintMs = 100;
// How often rows of what a running indexer has committed are looked for.
constexpr int kRefreshWhileIndexingMs = 2000;
constexpr const char* kHelpPage = "QoSearch.html";

CRecursiveMailIndexer::IndexPlace userIndexPlace() {
    return {Kerf::QuireLib::UserPlaces::buildIndexRootDirectory(),
            Kerf::QuireLib::UserPlaces::buildIndexDirectory()};
}

QPushButton* newButton(const char* text, const char* objectName) {
    auto* button = new QPushButton(QLatin1String(text));
    button->setObjectName(QLatin1String(objectName));
    // Enter belongs to the window (a search), not to the focused button.
    button->setAutoDefault(false);
    button->setDefault(false);
    return button;
}

QLabel* newLink(const char* text, const char* objectName) {
    auto* link = new QLabel(QStringLiteral("<a href=\"#\">%1</a>").arg(QLatin1String(text)));
    link->setObjectName(QLatin1String(objectName));
    link->setTextFormat(Qt::RichText);
    link->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    link->setAlignment(Qt::AlignHCenter);
    return link;
}

} // namespace

CQoSearchDlg::CQoSearchDlg(QWidget* parent) : CQoSearchDlg(userIndexPlace(), parent) {}

CQoSearchDlg::CQoSearchDlg(const CRecursiveMailIndexer::IndexPlace& place, QWidget* parent)
    : QDialog(parent), m_pSink(std::make_shared<CWindowEventSink>(this)),
      m_cycle(*this, m_pSink, place) {
    Kerf::QuireLib::DocumentText::Limits limits;
    limits.messageBudget = Kerf::QuireLib::attachmentTextBudget();
    m_cycle.setMessageReader(CRecursiveMailIndexer::messageFileReader(limits));
    buildControls();
    initialise();
}

CQoSearchDlg::~CQoSearchDlg() {
    m_cycle.closeIndexer();
    m_pSink->detach();
    m_ctlResults->SaveColumnInfo();
    saveWindowPlace();
    while (QApplication::overrideCursor() != nullptr && m_iWaitDepth-- > 0)
        QApplication::restoreOverrideCursor();
}

void CQoSearchDlg::buildControls() {
    setObjectName(QStringLiteral("QoSearchDlg"));
    setWindowTitle(CQoSearchApp::windowTitle());
    setWindowFlags(windowFlags() | Qt::WindowMinMaxButtonsHint);
    m_hIcon = programIcon();
    setWindowIcon(m_hIcon);
    setSizeGripEnabled(true);

    m_pLocation = new CSearchLocation;
    m_pCriteria = new CSearchCriteriaDlg;
    m_pPreview = new CPreviewDlg;
    m_pTabs = new QTabWidget;
    m_pTabs->setObjectName(QStringLiteral("tabs"));
    m_pTabs->addTab(m_pLocation, QStringLiteral("&Location"));
    m_pTabs->addTab(m_pCriteria, QStringLiteral("&More Choices"));
    // As tall as the criteria need; the results take the rest.
    m_pTabs->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Maximum);

    m_pFindNow = newButton("_Find Now", "findNow");
    m_pStop = newButton("_Stop", "stop");
    m_pClear = newButton("Cl&ear", "clear");
    m_pIcon = new QLabel;
    m_pIcon->setObjectName(QStringLiteral("programIcon"));
    m_pIcon->setPixmap(m_hIcon.pixmap(48, 48));
    m_pIcon->setAlignment(Qt::AlignHCenter);
    m_pHelpLink = newLink("More about Search", "helpLink");
    m_pHelpLink->setToolTip(QStringLiteral("Opens the help file"));
    m_pAboutLink = newLink("About QoSearch...", "aboutLink");

    auto* buttons = new QVBoxLayout;
    buttons->setSpacing(kSpacing);
    buttons->addSpacing(m_pTabs->tabBar()->sizeHint().height());
    buttons->addWidget(m_pFindNow);
    buttons->addWidget(m_pStop);
    buttons->addWidget(m_pClear);
    buttons->addStretch(1);
    buttons->addWidget(m_pIcon);
    buttons->addWidget(m_pHelpLink);
    buttons->addWidget(m_pAboutLink);

    auto* upper = new QHBoxLayout;
    upper->setSpacing(kMargin);
    upper->addWidget(m_pTabs, 1);
    upper->addLayout(buttons);

    m_pStatus = new QLabel;
    m_pStatus->setObjectName(QStringLiteral("status"));
    m_pStatus->setTextFormat(Qt::PlainText);
    // A long progress line must not widen the window.
    m_pStatus->setSizePolicy(QSizePolicy::Ignored, QSizePolicy::Fixed);
    m_pStatus->setMinimumHeight(m_pStatus->fontMetrics().height() + 2);
    m_pProgress = new QProgressBar;
    m_pProgress->setObjectName(QStringLiteral("indexingProgress"));
    m_pProgress->setTextVisible(false); // the status line says the numbers
    m_pProgress->setFixedSize(m_pStatus->fontMetrics().averageCharWidth() * 24,
                              m_pStatus->minimumHeight());
    m_pProgress->hide();
    // Where the preview goes: beside the list, or below it.
    m_pPreviewBelow = new QToolButton;
    m_pPreviewBelow->setObjectName(QStringLiteral("previewBelow"));
    m_pPreviewBelow->setText(QStringLiteral("Preview below"));
    m_pPreviewBelow->setToolTip(QStringLiteral("Shows the preview below the results list "
                                               "instead of beside it"));
    m_pPreviewBelow->setCheckable(true);
    m_pPreviewBelow->setAutoRaise(true);
    auto* statusLine = new QHBoxLayout;
    statusLine->setSpacing(kMargin);
    statusLine->addWidget(m_pStatus, 1);
    statusLine->addWidget(m_pProgress);
    statusLine->addWidget(m_pPreviewBelow);

    m_ctlResults = new CSortListCtrl(kResultsListId);
    m_ctlResults->setObjectName(QStringLiteral("results"));
    m_ctlResults->setAlternatingRowColors(true);
    m_ctlResults->setContextMenuPolicy(Qt::CustomContextMenu);
    // Dragged out, the rows are their files, as "Copy" puts them.
    m_ctlResults->SetDragData([this]() -> QMimeData* {
        const std::vector<std::wstring> paths = getSelectedPaths();
        return paths.empty() ? nullptr : CFileMovement::buildMimeData(paths, false);
    });
    // Columns keep the widths the user gave them; the last one takes what is left.
    m_ctlResults->header()->setStretchLastSection(true);

    // A thin bar over the list while the rows are not all there are.
    m_pIncompleteBar = new QFrame;
    m_pIncompleteBar->setObjectName(QStringLiteral("incompleteBar"));
    m_pIncompleteBar->setAutoFillBackground(true);
    m_pIncompleteBar->setBackgroundRole(QPalette::ToolTipBase);
    m_pIncompleteText = new QLabel;
    m_pIncompleteText->setObjectName(QStringLiteral("incompleteText"));
    m_pIncompleteText->setTextFormat(Qt::PlainText); // names of places are not markup
    m_pIncompleteText->setForegroundRole(QPalette::ToolTipText);
    m_pIncompleteText->setWordWrap(true);
    m_pSearchAgain = newButton("Search again", "searchAgain");
    auto* barLayout = new QHBoxLayout(m_pIncompleteBar);
    barLayout->setContentsMargins(kSpacing, 2, kSpacing, 2);
    barLayout->addWidget(m_pIncompleteText, 1);
    barLayout->addWidget(m_pSearchAgain);
    m_pIncompleteBar->hide();

    m_pResultsGroup = new QGroupBox(QStringLiteral("_Results"));
    m_pResultsGroup->setObjectName(QStringLiteral("resultsGroup"));
    auto* resultsLayout = new QVBoxLayout(m_pResultsGroup);
    resultsLayout->addWidget(m_pIncompleteBar);
    resultsLayout->addWidget(m_ctlResults, 1);

    m_pSplitter = new QSplitter(Qt::Horizontal);
    m_pSplitter->setObjectName(QStringLiteral("resultsSplitter"));
    m_pSplitter->setChildrenCollapsible(false);
    m_pSplitter->addWidget(m_pResultsGroup);
    m_pSplitter->addWidget(m_pPreview);
    m_pSplitter->setStretchFactor(0, 3);
    m_pSplitter->setStretchFactor(1, 2);
    connect(m_pPreviewBelow, &QToolButton::toggled, this, &CQoSearchDlg::setPreviewBelow);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addLayout(upper);
    layout->addLayout(statusLine);
    layout->addWidget(m_pSplitter, 1);

    m_pWatcher = new QFileSystemWatcher(this);
    connect(m_pWatcher, &QFileSystemWatcher::fileChanged, this,
            &CQoSearchDlg::OnWatchedFileChanged);
    m_pRefreshTimer = new QTimer(this);
    m_pRefreshTimer->setInterval(kRefreshWhileIndexingMs);
    connect(m_pRefreshTimer, &QTimer::timeout, this, &CQoSearchDlg::refreshWhileIndexing);
    connect(m_pSearchAgain, &QPushButton::clicked, this, [this] {
        if (isFindNowAvailable())
            OnBnClickedFindnow();
    });

    connect(m_pFindNow, &QPushButton::clicked, this, &CQoSearchDlg::OnBnClickedFindnow);
    connect(m_pStop, &QPushButton::clicked, this, &CQoSearchDlg::OnBnClickedStop);
    connect(m_pClear, &QPushButton::clicked, this, &CQoSearchDlg::OnBnClickedClear);
    connect(m_pHelpLink, &QLabel::linkActivated, this, &CQoSearchDlg::openHelp);
    connect(m_pAboutLink, &QLabel::linkActivated, this, &CQoSearchDlg::showAbout);
    connect(new QShortcut(QKeySequence::HelpContents, this), &QShortcut::activated, this,
            &CQoSearchDlg::openHelp);
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_L), this), &QShortcut::activated, this,
            &CQoSearchDlg::focusLocationFilter);
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_R), this), &QShortcut::activated, this,
            &CQoSearchDlg::focusResults);
    connect(new QShortcut(QKeySequence(Qt::CTRL | Qt::Key_F), this), &QShortcut::activated, this,
            &CQoSearchDlg::focusSearchBox);
    for (const QKeySequence& key :
         {QKeySequence(Qt::CTRL | Qt::Key_W), QKeySequence(Qt::CTRL | Qt::Key_Q)})
        connect(new QShortcut(key, this), &QShortcut::activated, this, &QWidget::close);
    // On the selected rows, their files: as the file manager does.
    for (const auto& [key, handler] :
         {std::pair{QKeySequence(QKeySequence::Delete), &CQoSearchDlg::DeleteItems},
          std::pair{QKeySequence(QKeySequence::Copy), &CQoSearchDlg::CopyItems},
          std::pair{QKeySequence(QKeySequence::Cut), &CQoSearchDlg::CutItems}}) {
        auto* shortcut = new QShortcut(key, m_ctlResults);
        shortcut->setContext(Qt::WidgetShortcut);
        connect(shortcut, &QShortcut::activated, this, handler);
    }
    connect(m_pTabs, &QTabWidget::currentChanged, this, [](int pane) {
        if (Kerf::Trace::isOn())
            Kerf::Trace::tracef("CQoSearchDlg::ShowWindowNumber(%s)\n",
                                QStringLiteral("Window=%1").arg(pane).toUtf8().constData());
    });
    connect(m_pLocation, &CSearchLocation::locationsChanged, this, &CQoSearchDlg::updateButtons);
    connect(m_pLocation, &CSearchLocation::searchAgainRequested, this, [this] {
        OnBnClickedStop();
        if (isFindNowAvailable())
            OnBnClickedFindnow();
    });
    connect(m_ctlResults->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this](const QItemSelection& selected) { OnLvnItemchangedResults(selected); });
    connect(m_ctlResults, &QAbstractItemView::doubleClicked, this,
            &CQoSearchDlg::OnNMDblclkResults);
    connect(m_ctlResults, &QWidget::customContextMenuRequested, this,
            &CQoSearchDlg::OnNMRclickResults);
}

void CQoSearchDlg::initialise() {
    ShowWindowNumber(eLocationPane);
    TranslateWindow(this);

    m_ctlResults->SetHeadings(ResultsRow::kHeadings);
    m_ctlResults->SetDescendingFirst(ResultsRow::Sent); // the latest mail is what one looks for
    m_ctlResults->SetColumnElideMiddle(ResultsRow::Folder);
    setInitialResultWidths();
    m_ctlResults->LoadColumnInfo();
    m_ctlResults->SetRowIcon(messageFileIcon());

    ClearDialogueOnInitialization();
    // Asked now, on a thread of its own, so that Open finds the answer ready.
    CDesktopAssociation::forMessages();
    beginWaitCursor();
    m_cycle.initialise();
    endWaitCursor();

    restoreWindowPlace();
    updateButtons();
}

void CQoSearchDlg::restoreWindowPlace() {
    const auto settings = Kerf::QuireLib::openUserSettings();
    setPreviewBelow(settings->value(QLatin1String(kPreviewBelowValue), false).toBool());
    const QByteArray sizes = settings->value(QLatin1String(kSplitterValue)).toByteArray();
    if (!sizes.isEmpty())
        m_pSplitter->restoreState(sizes);
    const QByteArray geometry = settings->value(QLatin1String(kGeometryValue)).toByteArray();
    if (!geometry.isEmpty() && restoreGeometry(geometry))
        return;
    // First start: two thirds of the screen, in its middle.
    const QScreen* shown = screen() != nullptr ? screen() : QGuiApplication::primaryScreen();
    const QRect available = shown != nullptr ? shown->availableGeometry() : QRect(0, 0, 1200, 900);
    const QSize size(std::max(available.width() * 2 / 3, minimumSizeHint().width()),
                     std::max(available.height() * 2 / 3, minimumSizeHint().height()));
    resize(size);
    move(available.center() - QPoint(size.width() / 2, size.height() / 2));
}

void CQoSearchDlg::saveWindowPlace() const {
    const auto settings = Kerf::QuireLib::openUserSettings();
    settings->setValue(QLatin1String(kGeometryValue), saveGeometry());
    settings->setValue(QLatin1String(kSplitterValue), m_pSplitter->saveState());
    settings->setValue(QLatin1String(kPreviewBelowValue), isPreviewBelow());
}

void CQoSearchDlg::setPreviewBelow(bool below) {
    m_pSplitter->setOrientation(below ? Qt::Vertical : Qt::Horizontal);
    const QSignalBlocker quiet(m_pPreviewBelow);
    m_pPreviewBelow->setChecked(below);
}

bool CQoSearchDlg::isPreviewBelow() const {
    return m_pSplitter->orientation() == Qt::Vertical;
}

void CQoSearchDlg::setInitialResultWidths() {
    // The headings give widths in dialog units; a column is also made wide
    // enough for its heading and the Sent column for a date of this locale.
    const QFontMetrics heading = m_ctlResults->header()->fontMetrics();
    const QFontMetrics cells = m_ctlResults->fontMetrics();
    const int sortArrow = m_ctlResults->style()->pixelMetric(QStyle::PM_HeaderMarkSize);
    const int padding = 2 * m_ctlResults->style()->pixelMetric(QStyle::PM_HeaderMargin) + 4;
    for (int column = 0; column < m_ctlResults->GetColumnCount(); ++column) {
        const QString title = m_ctlResults->model()->headerData(column, Qt::Horizontal).toString();
        int width = dialogUnitsToPixels(*m_ctlResults, m_ctlResults->GetColumnWidth(column));
        width = std::max(width, heading.horizontalAdvance(title) + sortArrow + padding);
        if (column == ResultsRow::Sent)
            width = std::max(width, cells.horizontalAdvance(QString::fromStdWString(
                                        ResultsRow::sentDisplayText({2000, 12, 28}))) +
                                        padding);
        m_ctlResults->SetColumnWidth(column, width);
    }
}

void CQoSearchDlg::ClearDialogueOnInitialization() {
    m_cycle.clear();
    m_pCriteria->clearCriteria();
}

bool CQoSearchDlg::isFindNowAvailable() {
    return m_pLocation->AreSearchLocationsAvailable();
}

void CQoSearchDlg::updateButtons() {
    const bool available = isFindNowAvailable();
    m_pFindNow->setEnabled(available);
    // A disabled button says what it waits for.
    m_pFindNow->setToolTip(available ? QStringLiteral("Searches the chosen places (Enter)")
                                     : m_pLocation->whyNothingToSearch());
    const bool indexing = m_cycle.isIndexing();
    if (indexing && !m_pRefreshTimer->isActive())
        m_pRefreshTimer->start();
    else if (!indexing)
        m_pRefreshTimer->stop();
    // The central index's rows may still come after the indexing ended.
    const bool busy = m_cycle.isBusy();
    // A stopped run that is still ending cannot be stopped again.
    m_pStop->setEnabled(busy && !m_cycle.isStopping());
    // Busy until the first counts arrive, and while a stopped run ends.
    if (busy && (!indexing || m_pProgress->isHidden() || m_cycle.isStopping()))
        m_pProgress->setRange(0, 0);
    m_pProgress->setVisible(busy);
}

void CQoSearchDlg::showIndexerCounts(std::size_t indexed, std::size_t remaining) {
    const std::size_t total = indexed + remaining;
    if (total == 0) {
        m_pProgress->setRange(0, 0);
        return;
    }
    // A bar counts in int; very large counts are scaled down together.
    const std::size_t scale = total / std::numeric_limits<int>::max() + 1;
    m_pProgress->setRange(0, static_cast<int>(total / scale));
    m_pProgress->setValue(static_cast<int>(indexed / scale));
}

void CQoSearchDlg::OnBnClickedFindnow() {
    KERF_TRACE_ENTRY("CQoSearchDlg::OnBnClickedFindnow");
    KERF_ASSERT(isFindNowAvailable());
    Findnow();
    updateButtons();
}

void CQoSearchDlg::Findnow() {
    Kerf::QuireLib::SearchCriteria criteria = m_pCriteria->get();
    criteria.m_sKeywords = m_pLocation->GetKeywords();
    criteria.m_sQuery = m_pLocation->GetRawQuery();
    m_searchWords = Kerf::QuireLib::searchWords(criteria);
    const std::vector<std::wstring> locations = m_pLocation->GetSearchLocations();
    m_searchedPlaces.clear();
    for (const std::wstring& location : locations)
        m_searchedPlaces.push_back({location, m_pLocation->GetLocationName(location)});
    m_cycle.setUnreachableLocations(m_pLocation->GetUnreachableLocations());
    m_cycle.setCentralIndex(Kerf::Central::readCentralIndexSettings());
    // Without locations the cycle only says so.
    m_cycle.findNow(criteria, locations);
}

void CQoSearchDlg::OnBnClickedStop() {
    m_cycle.stop();
    updateButtons();
}

void CQoSearchDlg::OnBnClickedClear() {
    m_cycle.clear();
    m_pCriteria->clearCriteria();
    m_searchWords.clear();
    updateButtons();
}

void CQoSearchDlg::OnOK() {
    if (isFindNowAvailable())
        OnBnClickedFindnow();
}

void CQoSearchDlg::accept() {
    OnOK(); // the window never closes on Enter
}

void CQoSearchDlg::reject() {
    stopWork();
    QDialog::reject();
}

void CQoSearchDlg::stopWork() {
    m_cycle.closeIndexer();
    updateButtons();
}

void CQoSearchDlg::OnEscape() {
    auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
    if (edit != nullptr && isAncestorOf(edit) && !edit->isReadOnly() && !edit->text().isEmpty()) {
        edit->clear();
        return;
    }
    if (m_cycle.isBusy() && !m_cycle.isStopping())
        OnBnClickedStop();
}

void CQoSearchDlg::focusSearchBox() {
    ShowWindowNumber(eLocationPane);
    m_pLocation->GetKeywordsEdit().setFocus(Qt::ShortcutFocusReason);
    m_pLocation->GetKeywordsEdit().selectAll();
}

void CQoSearchDlg::refreshWhileIndexing() {
    if (!m_cycle.isIndexing()) {
        m_pRefreshTimer->stop();
        return;
    }
    // The rows of the commit join the list; the user's place in it stays.
    const QModelIndex top = m_ctlResults->indexAt(QPoint(0, 0));
    const std::wstring topPath = top.isValid() ? getItemPath(top.row()) : std::wstring();
    m_bKeepScroll = true;
    m_cycle.refreshIfCommitted();
    m_bKeepScroll = false;
    if (topPath.empty())
        return;
    for (int row = 0; row < m_ctlResults->GetItemCount(); ++row)
        if (getItemPath(row) == topPath) {
            m_ctlResults->scrollTo(m_ctlResults->model()->index(row, 0),
                                   QAbstractItemView::PositionAtTop);
            return;
        }
}

void CQoSearchDlg::showIncompleteResults(const std::wstring& text) {
    m_pIncompleteText->setText(QString::fromStdWString(text));
    m_pIncompleteBar->setVisible(!text.empty());
}

void CQoSearchDlg::ShowWindowNumber(int pane) {
    m_pTabs->setCurrentIndex(pane);
}

void CQoSearchDlg::focusLocationFilter() {
    ShowWindowNumber(eLocationPane);
    // The filter works on the filing locations: asking for it chooses them.
    if (!m_pLocation->GetFilterEdit().isEnabled())
        m_pLocation->GetLocationsRadio().click();
    m_pLocation->GetFilterEdit().setFocus(Qt::ShortcutFocusReason);
    m_pLocation->GetFilterEdit().selectAll();
}

void CQoSearchDlg::focusResults() {
    m_ctlResults->setFocus(Qt::ShortcutFocusReason);
}

void CQoSearchDlg::bringToFront() {
    if (isMinimized())
        setWindowState((windowState() & ~Qt::WindowMinimized) | Qt::WindowActive);
    show();
    raise();
    activateWindow();
}

bool CQoSearchDlg::event(QEvent* e) {
    if (const auto event = CWindowEventSink::indexerEventOf(*e)) {
        m_cycle.handle(*event);
        if (event->message == Kerf::Search::IndexerMessage::EndWork ||
            event->message == Kerf::Search::IndexerMessage::RowsArrived)
            updateButtons();
        return true;
    }
    return QDialog::event(e);
}

void CQoSearchDlg::keyPressEvent(QKeyEvent* e) {
    const bool enter = e->key() == Qt::Key_Return || e->key() == Qt::Key_Enter;
    if (enter && (e->modifiers() & ~Qt::KeypadModifier) == Qt::NoModifier) {
        // In the results list Enter opens the selected messages, as a
        // double-click does; everywhere else it searches.
        if (m_ctlResults->hasFocus() && m_ctlResults->selectionModel()->hasSelection())
            OpenItems();
        else
            OnOK();
        e->accept();
        return;
    }
    if (e->key() == Qt::Key_Escape && e->modifiers() == Qt::NoModifier) {
        OnEscape(); // the dialog's own Escape would close the window
        e->accept();
        return;
    }
    QDialog::keyPressEvent(e);
}

void CQoSearchDlg::setStatusText(const std::wstring& text) {
    m_pStatus->setText(QString::fromStdWString(text));
    // The query runs on this thread; show its progress now and then.
    if (!m_statusClock.isValid() || m_statusClock.elapsed() >= kStatusRepaintMs) {
        m_statusClock.start();
        if (m_pStatus->isVisible())
            m_pStatus->repaint();
    }
}

void CQoSearchDlg::beginWaitCursor() {
    ++m_iWaitDepth;
    QApplication::setOverrideCursor(QCursor(Qt::WaitCursor));
}

void CQoSearchDlg::endWaitCursor() {
    if (m_iWaitDepth == 0)
        return;
    --m_iWaitDepth;
    QApplication::restoreOverrideCursor();
}

void CQoSearchDlg::showIndexingFailure(const std::wstring& text) {
    // Not modal: the results found so far stay in reach behind it.
    PlainText::openMessageBox(QMessageBox::Warning, QStringLiteral("QoSearch"),
                              QString::fromStdWString(text), this)
        ->setObjectName(QStringLiteral("indexingStopped"));
}

void CQoSearchDlg::openHelp() {
    const QString page =
        QString::fromStdWString(Kerf::Paths::installationDirectory()) + QLatin1String(kHelpPage);
    if (!QFileInfo::exists(page)) {
        ContainingFolder::tellWhatToInstall(
            this, QStringLiteral("The help page is missing: it should be the file %1").arg(page),
            QStringLiteral("Install QoSearch again to bring it back."));
        return;
    }
    if (QDesktopServices::openUrl(QUrl::fromLocalFile(page)))
        return;
    ContainingFolder::tellWhatToInstall(
        this,
        QStringLiteral("The help page could not be opened: no web browser is set up on this "
                       "computer."),
        QStringLiteral("Install one, for example: sudo apt install xdg-utils firefox-esr (or "
                       "chromium). The page is the file %1")
            .arg(page));
}

void CQoSearchDlg::showAbout() {
    QMessageBox box(this);
    box.setObjectName(QStringLiteral("aboutBox"));
    box.setWindowTitle(QStringLiteral("About QoSearch"));
    box.setIconPixmap(m_hIcon.pixmap(64, 64));
    box.setTextFormat(Qt::RichText);
    box.setText(QStringLiteral("<b>QoSearch</b> %1<br>Finds filed e-mail messages for %2 %3.")
                    .arg(QString::fromWCharArray(Kerf::QuireLib::UserPlaces::kIndexFormatVersion),
                         QString::fromStdWString(Kerf::Paths::vendorName()).toHtmlEscaped(),
                         QString::fromStdWString(Kerf::Paths::productName()).toHtmlEscaped()));
    box.setInformativeText(
        QStringLiteral("The index lives in %1")
            .arg(QString::fromStdWString(Kerf::QuireLib::UserPlaces::buildIndexDirectory())
                     .toHtmlEscaped()));
    box.exec();
}
