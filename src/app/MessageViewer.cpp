#include "app/MessageViewer.h"

#include "app/AttachmentFolder.h"
#include "app/PreviewText.h"
#include "app/SafeTextBrowser.h"
#include "app/SaveFolder.h"
#include "controls/PlainText.h"
#include "controls/ResultsRow.h"
#include "mail/MessageDocument.h"
#include "mail/PeopleText.h"
#include "text/HtmlText.h"

#include <QDesktopServices>
#include <QDialogButtonBox>
#include <QDir>
#include <QFileDialog>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QMessageBox>
#include <QPrintDialog>
#include <QPrinter>
#include <QPushButton>
#include <QSaveFile>
#include <QShortcut>
#include <QSplitter>
#include <QStandardPaths>
#include <QTextCursor>
#include <QTextDocument>
#include <QTreeWidget>
#include <QUrl>
#include <QVBoxLayout>

#include <memory>
#include <span>

using Kerf::QuireLib::CAttachmentInfo;
using Kerf::QuireLib::CMessageDocument;

namespace {

QString text(const CMessageDocument& document, const wchar_t* key) {
    return QString::fromStdWString(document.GetStringValue(key));
}

// Message bodies end their lines with "\r\n"; the document wants "\n" alone.
QString withPlainNewlines(QString s) {
    s.replace(QLatin1String("\r\n"), QLatin1String("\n"));
    s.replace(QLatin1Char('\r'), QLatin1Char('\n'));
    return s;
}

QString damageNote(const CMessageDocument& document) {
    if (!document.MessageRead())
        return QStringLiteral("This file could not be read as a message.");
    if (document.Damaged())
        return QStringLiteral("This message is damaged: what could be read is shown, "
                              "the rest could not be read.");
    return {};
}

// A picture shown inline is read whole into memory; larger ones stay empty.
constexpr std::uint64_t kMaxInlinePictureBytes = 16ull * 1024 * 1024;

// The attachment a "cid:" address names: the one with that content id,
// else the one named as the address up to its "@" (as mail programs name
// pictures they put inline); -1 for none.
int inlineAttachment(const std::vector<CAttachmentInfo>& attachments, const QString& address) {
    if (!address.startsWith(QLatin1String("cid:"), Qt::CaseInsensitive))
        return -1;
    const QString id = QUrl::fromPercentEncoding(address.mid(4).toUtf8());
    const auto bare = [](const std::wstring& s) {
        QString text = QString::fromStdWString(s).trimmed();
        if (text.startsWith(QLatin1Char('<')) && text.endsWith(QLatin1Char('>')))
            text = text.mid(1, text.size() - 2);
        return text;
    };
    const QString name = id.section(QLatin1Char('@'), 0, 0);
    for (const bool byName : {false, true})
        for (std::size_t i = 0; i < attachments.size(); ++i) {
            const QString& wanted = byName ? name : id;
            const std::wstring& own = byName ? attachments[i].name : attachments[i].contentId;
            if (!attachments[i].isMessage && !wanted.isEmpty() &&
                bare(own).compare(wanted, Qt::CaseInsensitive) == 0)
                return static_cast<int>(i);
        }
    return -1;
}

QByteArray inlinePicture(const CMessageDocument& document, const QString& address) {
    const auto& message = document.Message();
    if (!message)
        return {};
    const int index = inlineAttachment(message->attachments(), address);
    std::vector<std::uint8_t> bytes;
    if (index < 0 ||
        !message->readData(static_cast<std::size_t>(index), bytes, kMaxInlinePictureBytes))
        return {};
    return QByteArray(reinterpret_cast<const char*>(bytes.data()),
                      static_cast<qsizetype>(bytes.size()));
}

// Names in these texts are the sender's: shown as written.
void warn(QWidget* viewer, const QString& text) {
    PlainText::execMessageBox(QMessageBox::Warning, viewer->windowTitle(), text, viewer);
}

void inform(QWidget* viewer, const QString& text) {
    PlainText::execMessageBox(QMessageBox::Information, viewer->windowTitle(), text, viewer);
}

} // namespace

CMessageViewer::CMessageViewer(const std::wstring& path, QWidget* parent)
    : QDialog(parent), m_sPath(path), m_pDocument(std::make_shared<CMessageDocument>(path)) {
    build();
    const QString name = QFileInfo(QString::fromStdWString(path)).fileName();
    const QString subject = text(*m_pDocument, L"Subject");
    setWindowTitle(
        PlainText::windowTitle(subject.isEmpty() ? name : subject + QStringLiteral(" - ") + name));
}

CMessageViewer::CMessageViewer(std::shared_ptr<const CMessageDocument> document, QWidget* parent)
    : QDialog(parent), m_pDocument(std::move(document)) {
    build();
    const QString subject = text(*m_pDocument, L"Subject");
    setWindowTitle(
        PlainText::windowTitle(subject.isEmpty() ? QStringLiteral("Attached message") : subject));
}

CMessageViewer::~CMessageViewer() = default;

void CMessageViewer::build() {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("messageViewer"));

    m_pHeader = new QLabel;
    m_pHeader->setObjectName(QStringLiteral("messageHeader"));
    m_pHeader->setTextFormat(Qt::RichText);
    m_pHeader->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    m_pHeader->setWordWrap(true);
    m_pNote = new QLabel;
    m_pNote->setObjectName(QStringLiteral("damageNote"));
    m_pNote->setWordWrap(true);
    m_pNote->setStyleSheet(QStringLiteral("QLabel { background: #fff4ce; padding: 4px; }"));
    m_pBody = new CSafeTextBrowser;
    m_pBody->setObjectName(QStringLiteral("messageBody"));
    m_pAttachments = new QTreeWidget;
    m_pAttachments->setObjectName(QStringLiteral("attachmentList"));
    m_pAttachments->setHeaderLabels({QStringLiteral("Attachment"), QStringLiteral("Size")});
    m_pAttachments->setRootIsDecorated(false);
    m_pAttachments->setSelectionMode(QAbstractItemView::SingleSelection);
    m_pAttachments->header()->setSectionResizeMode(0, QHeaderView::Stretch);
    m_pAttachments->header()->setStretchLastSection(false);
    m_pSaveAs = new QPushButton(QStringLiteral("Save &As..."));
    m_pSaveAs->setObjectName(QStringLiteral("saveAttachment"));
    m_pOpen = new QPushButton(QStringLiteral("&Open"));
    m_pOpen->setObjectName(QStringLiteral("openAttachment"));

    auto* attachmentButtons = new QHBoxLayout;
    attachmentButtons->addWidget(m_pSaveAs);
    attachmentButtons->addWidget(m_pOpen);
    attachmentButtons->addStretch(1);
    auto* attachmentArea = new QWidget;
    auto* attachmentLayout = new QVBoxLayout(attachmentArea);
    attachmentLayout->setContentsMargins(0, 0, 0, 0);
    attachmentLayout->addWidget(m_pAttachments);
    attachmentLayout->addLayout(attachmentButtons);
    // At least six attachments in view; the splitter gives the list more.
    const int rowHeight = m_pAttachments->fontMetrics().height() + 6;
    m_pAttachments->setMinimumHeight(m_pAttachments->header()->sizeHint().height() + 6 * rowHeight +
                                     2 * m_pAttachments->frameWidth());
    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->setObjectName(QStringLiteral("bodyAndAttachments"));
    splitter->setChildrenCollapsible(false);
    splitter->addWidget(m_pBody);
    splitter->addWidget(attachmentArea);
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    QPushButton* print =
        buttons->addButton(QStringLiteral("&Print..."), QDialogButtonBox::ActionRole);
    print->setObjectName(QStringLiteral("printMessage"));
    print->setToolTip(QStringLiteral("Prints the message, or saves it as a PDF file"));
    connect(print, &QPushButton::clicked, this, &CMessageViewer::print);
    print->setAutoDefault(false);
    for (const auto& [key, step] :
         {std::pair{QKeySequence(Qt::Key_F3), &CMessageViewer::findNext},
          std::pair{QKeySequence(Qt::SHIFT | Qt::Key_F3), &CMessageViewer::findPrevious}})
        connect(new QShortcut(key, this), &QShortcut::activated, this, step);
    connect(new QShortcut(QKeySequence::Print, this), &QShortcut::activated, this,
            &CMessageViewer::print);
    // Enter in the attachment list opens the attachment; it must not press
    // a button of the window as well (Close would shut the viewer).
    for (QPushButton* button : {m_pSaveAs, m_pOpen, buttons->button(QDialogButtonBox::Close)}) {
        button->setAutoDefault(false);
        button->setDefault(false);
    }
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pHeader);
    layout->addWidget(m_pNote);
    layout->addWidget(splitter, 1);
    layout->addWidget(buttons);

    connect(m_pAttachments, &QTreeWidget::itemSelectionChanged, this,
            &CMessageViewer::updateAttachmentButtons);
    connect(m_pAttachments, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        openAttachment(m_pAttachments->indexOfTopLevelItem(item));
    });
    connect(m_pSaveAs, &QPushButton::clicked, this,
            [this] { saveAttachment(m_pAttachments->currentIndex().row()); });
    connect(m_pOpen, &QPushButton::clicked, this,
            [this] { openAttachment(m_pAttachments->currentIndex().row()); });

    m_pBody->setInlineSource([document = m_pDocument](const QString& address) {
        return inlinePicture(*document, address);
    });
    showHeader();
    const QString bodyNote = showBody();
    listAttachments();
    QString note = damageNote(*m_pDocument);
    if (!bodyNote.isEmpty())
        note += (note.isEmpty() ? QString() : QStringLiteral("\n")) + bodyNote;
    PlainText::setLabelText(*m_pNote, note);
    m_pNote->setVisible(!note.isEmpty());
    attachmentArea->setVisible(m_pAttachments->topLevelItemCount() > 0);
    resize(760, 640);
}

int CMessageViewer::markSearchWords(const std::vector<Kerf::QuireLib::SearchWord>& words) {
    m_matches = markWords(*m_pBody->document(), words);
    m_iCurrent = -1;
    if (!m_matches.empty()) {
        // In view, but not yet selected: F3 selects it.
        QTextCursor cursor(m_pBody->document());
        cursor.setPosition(m_matches.front().start);
        m_pBody->setTextCursor(cursor);
        m_pBody->ensureCursorVisible();
    }
    return static_cast<int>(m_matches.size());
}

bool CMessageViewer::findNext() {
    if (m_matches.empty())
        return false;
    m_iCurrent = m_iCurrent + 1 >= static_cast<int>(m_matches.size()) ? 0 : m_iCurrent + 1;
    const PreviewMatch& match = m_matches[static_cast<std::size_t>(m_iCurrent)];
    QTextCursor cursor(m_pBody->document());
    cursor.setPosition(match.start);
    cursor.setPosition(match.start + match.length, QTextCursor::KeepAnchor);
    m_pBody->setTextCursor(cursor);
    m_pBody->ensureCursorVisible();
    return true;
}

bool CMessageViewer::findPrevious() {
    if (m_matches.empty())
        return false;
    // One step back is all but one step forward, round the ring.
    m_iCurrent = (m_iCurrent <= 0 ? static_cast<int>(m_matches.size()) : m_iCurrent) - 2;
    return findNext();
}

std::unique_ptr<QTextDocument> CMessageViewer::printedDocument() const {
    // The body as shown (its pictures included), the header above it; the
    // header's values were made plain text when it was built.
    std::unique_ptr<QTextDocument> document(m_pBody->document()->clone());
    QTextCursor top(document.get());
    top.movePosition(QTextCursor::Start);
    top.insertHtml(m_pHeader->text());
    top.insertBlock();
    return document;
}

void CMessageViewer::print() {
    QPrinter printer(QPrinter::HighResolution);
    printer.setDocName(windowTitle());
    QPrintDialog dialog(&printer, this);
    dialog.setWindowTitle(QStringLiteral("Print Message"));
    if (dialog.exec() != QDialog::Accepted)
        return;
    printedDocument()->print(&printer);
}

void CMessageViewer::showHeader() {
    QString rows;
    const auto row = [&rows](const char* label, const QString& value) {
        rows += QStringLiteral("<tr><td><b>%1</b></td><td>%2</td></tr>")
                    .arg(QLatin1String(label), value.toHtmlEscaped());
    };
    const std::pair<const char*, const wchar_t*> people[] = {
        {"From:", L"From"}, {"To:", L"To"}, {"Cc:", L"Cc"}, {"Bcc:", L"Bcc"}};
    for (const auto& [label, key] : people) {
        const QString value =
            QString::fromStdWString(Kerf::QuireLib::peopleText(*m_pDocument, key));
        if (!value.isEmpty())
            row(label, value);
    }
    const Kerf::OleDate& sent = m_pDocument->GetSentDate();
    row("Sent:", sent.m_dt == 0.0 ? QStringLiteral("(not sent)") : sentDateTimeText(sent));
    const QString subject = text(*m_pDocument, L"Subject");
    if (!subject.isEmpty())
        row("Subject:", subject);
    m_pHeader->setText(QStringLiteral("<table cellspacing=\"2\">%1</table>").arg(rows));
}

QString CMessageViewer::showBody() {
    QString note;
    if (!m_pDocument->HtmlBody().empty()) {
        const QString refusal = m_pBody->showHtml(QString::fromStdWString(m_pDocument->HtmlBody()));
        if (refusal.isEmpty())
            return {};
        note = QStringLiteral("This message is shown as plain text: %1.").arg(refusal);
    }
    QString body = text(*m_pDocument, L"Body");
    if (body.isEmpty() && !m_pDocument->HtmlBody().empty())
        body = QString::fromStdWString(Kerf::Html::toPlainText(m_pDocument->HtmlBody()));
    m_pBody->setPlainText(withPlainNewlines(body));
    return note;
}

void CMessageViewer::listAttachments() {
    if (!m_pDocument->Message())
        return;
    for (const CAttachmentInfo& info : m_pDocument->Message()->attachments()) {
        QString name = QString::fromStdWString(info.name);
        if (name.isEmpty())
            name = info.isMessage ? QStringLiteral("(attached message)")
                                  : QStringLiteral("(unnamed attachment)");
        // An attached message that states no size has none worth showing.
        // Written as the results list writes sizes.
        const QString size =
            info.isMessage && info.size == 0
                ? QString()
                : QString::fromStdWString(Kerf::QuireLib::ResultsRow::sizeDisplayText(
                      static_cast<std::int32_t>(std::min<std::uint64_t>(info.size, INT32_MAX))));
        auto* item = new QTreeWidgetItem(m_pAttachments, {name, size});
        item->setTextAlignment(1, Qt::AlignRight | Qt::AlignVCenter);
    }
    if (m_pAttachments->topLevelItemCount() > 0)
        m_pAttachments->setCurrentItem(m_pAttachments->topLevelItem(0));
    updateAttachmentButtons();
}

void CMessageViewer::updateAttachmentButtons() {
    const int row = m_pAttachments->currentIndex().row();
    const auto& list = m_pDocument->Message() ? m_pDocument->Message()->attachments()
                                              : std::vector<CAttachmentInfo>();
    const bool valid = row >= 0 && static_cast<std::size_t>(row) < list.size();
    m_pOpen->setEnabled(valid);
    // An attached message is saved as a message file of its own.
    m_pSaveAs->setEnabled(valid);
}

CMessageViewer::Copy CMessageViewer::copyAttachment(int row, QIODevice& device) {
    const auto index = static_cast<std::size_t>(row);
    if (m_pDocument->Message() && index < m_pDocument->Message()->attachments().size() &&
        m_pDocument->Message()->attachments()[index].isMessage) {
        // An attached message becomes a message file of its own.
        std::vector<std::uint8_t> bytes;
        std::string error;
        if (!m_pDocument->Message()->messageFileBytes(index, bytes, error)) {
            warn(this, QStringLiteral("The attached message \"%1\" could not be read.")
                           .arg(m_pAttachments->topLevelItem(row)->text(0)));
            return Copy::ReadFailed;
        }
        return device.write(reinterpret_cast<const char*>(bytes.data()),
                            static_cast<qint64>(bytes.size())) == static_cast<qint64>(bytes.size())
                   ? Copy::Done
                   : Copy::WriteFailed;
    }
    bool written = true;
    const bool read = m_pDocument->Message() &&
                      m_pDocument->Message()->copyData(
                          static_cast<std::size_t>(row), [&](std::span<const std::uint8_t> piece) {
                              written = device.write(reinterpret_cast<const char*>(piece.data()),
                                                     static_cast<qint64>(piece.size())) ==
                                        static_cast<qint64>(piece.size());
                              return written;
                          });
    if (!written)
        return Copy::WriteFailed;
    if (!read) {
        warn(this, QStringLiteral("The attachment \"%1\" could not be read.")
                       .arg(m_pAttachments->topLevelItem(row)->text(0)));
        return Copy::ReadFailed;
    }
    return Copy::Done;
}

void CMessageViewer::saveAttachment(int row) {
    if (row < 0 || row >= m_pAttachments->topLevelItemCount() || !m_pSaveAs->isEnabled())
        return;
    const QString folder = SaveFolder::start(this);
    if (folder.isEmpty())
        return;
    QString name = AttachmentFolder::safeFileName(m_pAttachments->topLevelItem(row)->text(0));
    if (m_pDocument->Message()->attachments()[static_cast<std::size_t>(row)].isMessage &&
        !name.endsWith(QLatin1String(".msg"), Qt::CaseInsensitive))
        name += QLatin1String(".msg");
    const QString suggested = QDir(folder).filePath(name);
    const QString target =
        QFileDialog::getSaveFileName(this, QStringLiteral("Save Attachment"), suggested);
    if (target.isEmpty())
        return;
    // A new file is the user's alone, as every file the program writes; one
    // saved over keeps the permissions it had.
    const bool existed = QFileInfo::exists(target);
    QSaveFile file(target);
    const bool opened = file.open(QIODevice::WriteOnly);
    const Copy copied = opened ? copyAttachment(row, file) : Copy::WriteFailed;
    if (copied == Copy::ReadFailed) {
        file.cancelWriting();
        return;
    }
    if (copied == Copy::WriteFailed || !file.commit()) {
        warn(this, QStringLiteral("The attachment could not be saved as \"%1\": %2")
                       .arg(target, file.errorString()));
        return;
    }
    if (!existed)
        QFile::setPermissions(target, QFile::ReadOwner | QFile::WriteOwner);
    SaveFolder::remember(target);
}

void CMessageViewer::openAttachment(int row) {
    if (!m_pDocument->Message() || row < 0 ||
        static_cast<std::size_t>(row) >= m_pDocument->Message()->attachments().size())
        return;
    const CAttachmentInfo& info =
        m_pDocument->Message()->attachments()[static_cast<std::size_t>(row)];
    if (info.isMessage) {
        auto inner = m_pDocument->Message()->openMessage(static_cast<std::size_t>(row));
        if (!inner) {
            warn(this, QStringLiteral("The attached message could not be read."));
            return;
        }
        auto* viewer =
            new CMessageViewer(std::make_shared<const CMessageDocument>(std::move(inner)), this);
        viewer->show();
        return;
    }
    Copy copied = Copy::WriteFailed;
    const QString path =
        AttachmentFolder::write(m_pAttachments->topLevelItem(row)->text(0), [&](QIODevice& device) {
            copied = copyAttachment(row, device);
            return copied == Copy::Done;
        });
    if (copied == Copy::ReadFailed)
        return;
    if (path.isEmpty()) {
        warn(this, QStringLiteral("The attachment could not be written to the temporary folder."));
        return;
    }
    const QString risk = AttachmentFolder::openingRisk(path);
    if (!risk.isEmpty()) {
        const std::unique_ptr<QMessageBox> box(PlainText::newMessageBox(
            QMessageBox::Warning, windowTitle(),
            QStringLiteral("\"%1\" may not be a document. %2\n\nOpen it anyway?")
                .arg(QFileInfo(path).fileName(), risk),
            this, QMessageBox::Open | QMessageBox::Cancel));
        box->setObjectName(QStringLiteral("openingRisk"));
        box->setDefaultButton(QMessageBox::Cancel);
        if (box->exec() != QMessageBox::Open)
            return;
    }
    if (!QDesktopServices::openUrl(QUrl::fromLocalFile(path)))
        inform(this, QStringLiteral("No program on this desktop opens \"%1\".")
                         .arg(QFileInfo(path).fileName()));
}
