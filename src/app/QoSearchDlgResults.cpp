// The results list of the search window: rows from the search cycle, the
// preview of the selected row, and the actions on the selected rows.

#include "app/ContainingFolder.h"
#include "app/FileMovement.h"
#include "app/HostProduct.h"
#include "app/IndexDocument.h"
#include "app/ItemActions.h"
#include "app/PreviewDlg.h"
#include "app/QoSearchDlg.h"
#include "controls/PlainText.h"
#include "controls/ResultsRow.h"
#include "controls/SortListCtrl.h"
#include "support/Assert.h"
#include "support/Paths.h"
#include "support/Trace.h"

#include <QFileInfo>
#include <QFileSystemWatcher>
#include <QMenu>
#include <QMessageBox>

#include <algorithm>
#include <memory>

using Kerf::QuireLib::CEmailMetadata;
namespace ResultsRow = Kerf::QuireLib::ResultsRow;

namespace {

// The context menu's commands.
enum Command { eOpen = 0xD800, eExplore, eSendLink, eCut, eCopy, eDelete };

QString fileNameOf(const std::wstring& path) {
    return QFileInfo(QString::fromStdWString(path)).fileName();
}

} // namespace

void CQoSearchDlg::deleteAllRows() {
    m_ctlResults->DeleteAllItems();
    if (!m_pWatcher->files().isEmpty())
        m_pWatcher->removePaths(m_pWatcher->files());
    m_bSortPending = false;
}

void CQoSearchDlg::clearPreview() {
    m_pPreview->ClearText();
}

void CQoSearchDlg::startOptimisedAdd(std::size_t expectedRows) {
    m_ctlResults->startOptimisedAdd(static_cast<int>(expectedRows));
}

void CQoSearchDlg::finishOptimisedAdd() {
    m_ctlResults->finishOptimisedAdd();
}

std::size_t CQoSearchDlg::getItemCount() const {
    return static_cast<std::size_t>(m_ctlResults->GetItemCount());
}

ResultsRow::Hit CQoSearchDlg::resultsHit(const CEmailMetadata& record) {
    ResultsRow::Hit hit;
    hit.from = record.GetStringValue(L"From");
    hit.to = record.GetStringValue(L"To");
    hit.subject = record.GetStringValue(L"Subject");
    hit.normalisedSubject = record.GetStringValue(L"Normalised_Subject");
    hit.location = record.GetStringValue(L"Location");
    hit.sent = Kerf::Dates::fromOleDate(record.GetSentDate().m_dt);
    hit.size = record.GetSize();
    hit.attachments = record.GetEmbeddedAttachments() + record.GetNonEmbeddedAttachments();
    return hit;
}

void CQoSearchDlg::insertItem(const CEmailMetadata& record) {
    KERF_ASSERT(record.GetSentDate().GetStatus() == Kerf::OleDate::valid);
    ResultsRow::Texts texts = ResultsRow::buildTexts(resultsHit(record));
    texts.display[ResultsRow::Folder] =
        ResultsRow::folderDisplayText(texts.sort[ResultsRow::Folder], m_searchedPlaces);
    ResultsRow::insertRow(*m_ctlResults, texts);
    m_bSortPending = true;
}

void CQoSearchDlg::sortPendingRows() {
    if (m_bSortPending) {
        if (m_ctlResults->GetSortColumn() != -1)
            m_ctlResults->Sort(m_ctlResults->GetSortColumn(), m_ctlResults->IsSortAscending());
        m_bSortPending = false;
    }
    if (!m_bKeepScroll)
        ensureSelectedVisibility();
}

std::wstring CQoSearchDlg::getItemDirectory(int row) const {
    return ResultsRow::itemDirectory(*m_ctlResults, row);
}

std::wstring CQoSearchDlg::getItemBasename(int row) const {
    return ResultsRow::itemBasename(*m_ctlResults, row);
}

std::wstring CQoSearchDlg::getItemPath(int row) const {
    return ResultsRow::itemPath(*m_ctlResults, row);
}

std::vector<int> CQoSearchDlg::getSelectedItems() const {
    return m_ctlResults->GetSelectedItems();
}

std::vector<std::wstring> CQoSearchDlg::getItemPaths(const std::vector<int>& rows) const {
    std::vector<std::wstring> paths;
    paths.reserve(rows.size());
    for (const int row : rows)
        paths.push_back(getItemPath(row));
    return paths;
}

std::vector<std::wstring> CQoSearchDlg::getSelectedPaths() const {
    return getItemPaths(getSelectedItems());
}

void CQoSearchDlg::ensureSelectedVisibility() {
    QItemSelectionModel* selection = m_ctlResults->selectionModel();
    const QModelIndex current = m_ctlResults->currentIndex();
    if (current.isValid() && selection->isSelected(current)) {
        m_ctlResults->scrollTo(current);
        return;
    }
    const QItemSelection selected = selection->selection();
    if (!selected.isEmpty())
        m_ctlResults->scrollTo(selected.first().topLeft());
}

std::optional<CEmailMetadata> CQoSearchDlg::getDocumentFromIndex(const std::wstring& path) const {
    return ::getDocumentFromIndex(m_cycle.getSearcher(), path);
}

void CQoSearchDlg::OnLvnItemchangedResults(const QItemSelection& selected) {
    if (selected.isEmpty()) {
        if (!m_ctlResults->selectionModel()->hasSelection())
            m_pPreview->ClearText(); // what it showed was deselected or removed
        return;
    }
    // Of the rows selected now, the one the user moved to.
    const QModelIndex current = m_ctlResults->currentIndex();
    const int row =
        current.isValid() && selected.contains(current) ? current.row() : selected.last().bottom();
    if (row < 0 || !m_ctlResults->selectionModel()->isRowSelected(row, QModelIndex()))
        return;
    beginWaitCursor();
    const std::wstring path = getItemPath(row);
    if (const auto record = getDocumentFromIndex(path))
        m_pPreview->fill(*record, m_searchWords);
    else
        m_pPreview->ClearText();
    endWaitCursor();
}

void CQoSearchDlg::OnNMDblclkResults(const QModelIndex& index) {
    if (index.isValid())
        ItemActions::openMessages({getItemPath(index.row())}, this, m_searchWords);
}

void CQoSearchDlg::OnNMRclickResults(const QPoint& position) {
    QMenu* menu = createResultsMenu(this);
    menu->exec(m_ctlResults->viewport()->mapToGlobal(position));
    delete menu;
}

QMenu* CQoSearchDlg::createResultsMenu(QWidget* parent) {
    auto* menu = new QMenu(parent);
    menu->setObjectName(QStringLiteral("resultsMenu"));
    const auto add = [this, menu](const QString& text, Command command,
                                  void (CQoSearchDlg::*handler)()) {
        QAction* action = menu->addAction(text);
        action->setData(static_cast<int>(command));
        connect(action, &QAction::triggered, this, handler);
    };
    add(QStringLiteral("&Open"), eOpen, &CQoSearchDlg::OpenItems);
    add(QStringLiteral("Open Containing &Folder"), eExplore, &CQoSearchDlg::ExploreItems);
    if (HostProduct::isRunnable())
        add(QStringLiteral("&Send %1 Link")
                .arg(QString::fromStdWString(Kerf::Paths::productName())),
            eSendLink, &CQoSearchDlg::SendQoLink);
    menu->addSeparator();
    add(QStringLiteral("Cut"), eCut, &CQoSearchDlg::CutItems);
    add(QStringLiteral("Copy"), eCopy, &CQoSearchDlg::CopyItems);
    add(QStringLiteral("Delete"), eDelete, &CQoSearchDlg::DeleteItems);
    return menu;
}

void CQoSearchDlg::OpenItems() {
    ItemActions::openMessages(getSelectedPaths(), this, m_searchWords);
}

void CQoSearchDlg::ExploreItems() {
    ContainingFolder::show(getSelectedPaths(), this);
}

void CQoSearchDlg::SendQoLink() {
    const std::vector<std::wstring> paths = getSelectedPaths();
    if (HostProduct::isRunnable()) {
        const bool handed = HostProduct::fileItems(paths);
        KERF_ASSERT(handed);
    }
}

void CQoSearchDlg::CutItems() {
    const std::vector<int> rows = getSelectedItems();
    for (const int row : rows) {
        const bool marked = m_ctlResults->SetItemCut(row, true);
        KERF_ASSERT(marked);
    }
    const std::vector<std::wstring> paths = getItemPaths(rows);
    CFileMovement::Cut(paths);
    // Pasted in the file manager, they move away: their rows follow then.
    watchFiles(paths);
}

void CQoSearchDlg::watchFiles(const std::vector<std::wstring>& paths) {
    QStringList files;
    for (const std::wstring& path : paths)
        files << QString::fromStdWString(path);
    m_pWatcher->addPaths(files);
}

void CQoSearchDlg::removeRowsOfGoneFiles(std::vector<int> rows) {
    std::sort(rows.begin(), rows.end());
    const std::vector<std::wstring> paths = getItemPaths(rows);
    std::vector<std::wstring> gone;
    int firstGone = -1;
    // Backwards, so that the rows still to visit keep their numbers. A row
    // goes only when its file is gone, whatever the trash reported.
    for (size_t i = rows.size(); i-- > 0;) {
        if (CFileMovement::IsFileReadable(paths[i]))
            continue;
        const bool removed = m_ctlResults->DeleteItem(rows[i]);
        KERF_ASSERT(removed);
        gone.push_back(paths[i]);
        firstGone = rows[i];
    }
    if (gone.empty())
        return;
    m_cycle.forgetMessages(gone);
    // The row that took the first one's place is the one shown now, as in a
    // file manager; with no row left the preview empties.
    const int count = m_ctlResults->GetItemCount();
    if (count == 0) {
        m_pPreview->ClearText();
        return;
    }
    if (!m_ctlResults->selectionModel()->hasSelection()) {
        const QModelIndex next = m_ctlResults->model()->index(std::min(firstGone, count - 1), 0);
        m_ctlResults->selectionModel()->setCurrentIndex(next, QItemSelectionModel::ClearAndSelect |
                                                                  QItemSelectionModel::Rows);
    }
}

void CQoSearchDlg::OnWatchedFileChanged(const QString& file) {
    if (QFileInfo::exists(file))
        return; // changed, not gone
    m_pWatcher->removePath(file);
    const std::wstring path = file.toStdWString();
    std::vector<int> rows;
    for (int row = 0; row < m_ctlResults->GetItemCount(); ++row)
        if (getItemPath(row) == path)
            rows.push_back(row);
    removeRowsOfGoneFiles(rows);
}

void CQoSearchDlg::CopyItems() {
    CFileMovement::Copy(getSelectedPaths());
}

bool CQoSearchDlg::confirmDelete(std::size_t count, const std::wstring& firstPath) {
    const QString question =
        count == 1 ? QStringLiteral("Move \"%1\" to the trash?").arg(fileNameOf(firstPath))
                   : QStringLiteral("Move these %1 messages to the trash?").arg(count);
    const std::unique_ptr<QMessageBox> box(
        PlainText::newMessageBox(QMessageBox::Question, QStringLiteral("Delete"), question, this,
                                 QMessageBox::Yes | QMessageBox::No));
    box->setObjectName(QStringLiteral("confirmDelete"));
    box->setDefaultButton(QMessageBox::Yes);
    return box->exec() == QMessageBox::Yes;
}

void CQoSearchDlg::DeleteItems() {
    std::vector<int> rows = getSelectedItems();
    std::vector<std::wstring> paths = getItemPaths(rows);
    if (rows.empty() || !confirmDelete(rows.size(), paths.front()))
        return;
    // While the question was open the search may have added and sorted
    // rows; the selection moved with its rows, the numbers did not.
    rows = getSelectedItems();
    paths = getItemPaths(rows);
    KERF_ASSERT(rows.size() == paths.size());
    const std::vector<std::wstring> failed = CFileMovement::Delete(paths);
    removeRowsOfGoneFiles(rows);
    if (failed.empty())
        return;
    QString text =
        failed.size() == 1
            ? QStringLiteral("\"%1\" could not be moved to the trash.")
                  .arg(fileNameOf(failed.front()))
            : QStringLiteral("%1 messages could not be moved to the trash.").arg(failed.size());
    PlainText::openMessageBox(QMessageBox::Warning, QStringLiteral("Delete"), text, this)
        ->setObjectName(QStringLiteral("deleteFailed"));
}
