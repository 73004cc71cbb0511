#include "app/QoSearchDlg.h"

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
#include <QShortcut>
#include <QStyle>
#include <QTabWidget>
#include <QUrl>
#include <QVBoxLayout>

#include <limits>

using Kerf::QuireLib::CEmailMetadata;
using Kerf::QuireLib::CRecursiveMailIndexer;
using Kerf::QuireLib::CSortListCtrl;
namespace ResultsRow = Kerf::QuireLib::ResultsRow;

namespace {

constexpr int kMargin = 10; // also the gap below the status line when collapsed
constexpr int kSpacing = 6;
// Where the window's place is kept per user, beside the other choices.
constexpr const char* kGeometryValue = "Search/WindowGeometry";
constexpr const char* kFullHeightValue = "Search/WindowFullHeight";
constexpr int kResultsMinimumHeight = 120;
constexpr int kStatusRepaintMs = 100;
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
    m_pTabs->addTab(m_pPreview, QStringLiteral("&Preview"));
    m_pTabs->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);

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
    m_pUpperLayout = upper;

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
    auto* statusLine = new QHBoxLayout;
    statusLine->setSpacing(kMargin);
    statusLine->addWidget(m_pStatus, 1);
    statusLine->addWidget(m_pProgress);

    m_ctlResults = new CSortListCtrl(kResultsListId);
    m_ctlResults->setObjectName(QStringLiteral("results"));
    m_ctlResults->setAlternatingRowColors(true);
    m_ctlResults->setContextMenuPolicy(Qt::CustomContextMenu);
    // Dragged out, the rows are their files, as "Copy" puts them.
    m_ctlResults->SetDragData([this]() -> QMimeData* {
        const std::vector<std::wstring> paths = getSelectedPaths();
        return paths.empty() ? nullptr : CFileMovement::buildMimeData(paths, false);
    });
    m_pResultsGroup = new QGroupBox(QStringLiteral("_Results"));
    m_pResultsGroup->setObjectName(QStringLiteral("resultsGroup"));
    auto* resultsLayout = new QVBoxLayout(m_pResultsGroup);
    resultsLayout->addWidget(m_ctlResults);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(kMargin, kMargin, kMargin, kMargin);
    layout->setSpacing(kSpacing);
    layout->addLayout(upper);
    layout->addLayout(statusLine);
    layout->addWidget(m_pResultsGroup, 1);

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
    auto* deleteKey = new QShortcut(QKeySequence::Delete, m_ctlResults);
    deleteKey->setContext(Qt::WidgetShortcut);
    connect(deleteKey, &QShortcut::activated, this, &CQoSearchDlg::DeleteItems);
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
    setInitialResultWidths();
    m_ctlResults->LoadColumnInfo();
    m_ctlResults->SetRowIcon(messageFileIcon());

    ClearDialogueOnInitialization();
    // Asked now, on a thread of its own, so that Open finds the answer ready.
    CDesktopAssociation::forMessages();
    beginWaitCursor();
    m_cycle.initialise();
    endWaitCursor();

    // Collapsed until the first search: only the upper part and the status line.
    m_pResultsGroup->hide();
    const int collapsed = collapsedHeight();
    setMinimumHeight(collapsed);
    setMaximumHeight(collapsed);
    restoreWindowPlace();
    updateButtons();
}

void CQoSearchDlg::restoreWindowPlace() {
    const auto settings = Kerf::QuireLib::openUserSettings();
    const QByteArray geometry = settings->value(QLatin1String(kGeometryValue)).toByteArray();
    const int fullHeight = settings->value(QLatin1String(kFullHeightValue)).toInt();
    if (!geometry.isEmpty() && fullHeight > 0 && restoreGeometry(geometry)) {
        m_iFullHeight = fullHeight;
        return;
    }
    // First start: two thirds of the screen, in its middle.
    const QScreen* shown = screen() != nullptr ? screen() : QGuiApplication::primaryScreen();
    const QRect available = shown != nullptr ? shown->availableGeometry() : QRect(0, 0, 1200, 900);
    const QSize size(
        std::max(available.width() * 2 / 3, minimumSizeHint().width()),
        std::max(available.height() * 2 / 3, collapsedHeight() + kResultsMinimumHeight));
    m_iFullHeight = size.height();
    resize(size.width(), collapsedHeight());
    move(available.center() - QPoint(size.width() / 2, size.height() / 2));
}

void CQoSearchDlg::saveWindowPlace() const {
    const auto settings = Kerf::QuireLib::openUserSettings();
    settings->setValue(QLatin1String(kGeometryValue), saveGeometry());
    settings->setValue(QLatin1String(kFullHeightValue), m_bResultsShown ? height() : m_iFullHeight);
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

int CQoSearchDlg::collapsedHeight() const {
    // The status line's bottom edge plus the margin below it.
    return kMargin + m_pUpperLayout->sizeHint().height() + kSpacing +
           std::max(m_pStatus->sizeHint().height(), m_pStatus->minimumHeight()) + kMargin;
}

void CQoSearchDlg::showResultsArea() {
    if (m_bResultsShown)
        return;
    m_pResultsGroup->show();
    setMaximumHeight(QWIDGETSIZE_MAX);
    setMinimumHeight(collapsedHeight() + kResultsMinimumHeight);
    m_bResultsShown = true;
    resize(width(), std::max(m_iFullHeight, minimumHeight()));
}

void CQoSearchDlg::collapseResultsArea() {
    if (!m_bResultsShown)
        return;
    // The height the user gave the window is the one the next search opens to.
    m_iFullHeight = height();
    m_pResultsGroup->hide();
    const int collapsed = collapsedHeight();
    setMinimumHeight(collapsed);
    setMaximumHeight(collapsed);
    resize(width(), collapsed);
    m_bResultsShown = false;
}

bool CQoSearchDlg::isFindNowAvailable() {
    return m_pLocation->AreSearchLocationsAvailable();
}

void CQoSearchDlg::updateButtons() {
    m_pFindNow->setEnabled(isFindNowAvailable());
    const bool indexing = m_cycle.isIndexing();
    // A stopped run that is still ending cannot be stopped again.
    m_pStop->setEnabled(indexing && !m_cycle.isStopping());
    // Busy until the first counts arrive, and while a stopped run ends.
    if (indexing && (m_pProgress->isHidden() || m_cycle.isStopping()))
        m_pProgress->setRange(0, 0);
    m_pProgress->setVisible(indexing);
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
    m_cycle.setUnreachableLocations(m_pLocation->GetUnreachableLocations());
    m_cycle.setCentralIndex(Kerf::Central::readCentralIndexSettings());
    if (!locations.empty())
        showResultsArea();
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
    collapseResultsArea();
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
    if (!m_bResultsShown)
        return;
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
        if (event->message == Kerf::Search::IndexerMessage::EndWork)
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
    QDialog::keyPressEvent(e); // Escape: reject()
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
    if (QFileInfo::exists(page) && QDesktopServices::openUrl(QUrl::fromLocalFile(page)))
        return;
    PlainText::openMessageBox(
        QMessageBox::Information, QStringLiteral("QoSearch"),
        QStringLiteral("The help page could not be opened.\n\nIt is the file %1").arg(page), this);
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
