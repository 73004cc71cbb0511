#include "app/MessageViewer.h"

#include "app/PreviewText.h"
#include "app/SafeTextBrowser.h"
#include "mail/MessageDocument.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

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

} // namespace

CMessageViewer::CMessageViewer(const std::wstring& path, QWidget* parent)
    : QDialog(parent), m_sPath(path), m_pDocument(std::make_shared<CMessageDocument>(path)) {
    build();
    const QString name = QFileInfo(QString::fromStdWString(path)).fileName();
    const QString subject = text(*m_pDocument, L"Subject");
    setWindowTitle(subject.isEmpty() ? name : subject + QStringLiteral(" - ") + name);
}

CMessageViewer::CMessageViewer(std::shared_ptr<const CMessageDocument> document, QWidget* parent)
    : QDialog(parent), m_pDocument(std::move(document)) {
    build();
    const QString subject = text(*m_pDocument, L"Subject");
    setWindowTitle(subject.isEmpty() ? QStringLiteral("Attached message") : subject);
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
    auto* splitter = new QSplitter(Qt::Vertical);
    splitter->addWidget(m_pBody);
    splitter->addWidget(attachmentArea);
    splitter->setStretchFactor(0, 4);
    splitter->setStretchFactor(1, 1);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pHeader);
    layout->addWidget(m_pNote);
    layout->addWidget(splitter, 1);
    layout->addWidget(buttons);

    showHeader();
    showBody();
    const QString note = damageNote(*m_pDocument);
    m_pNote->setText(note);
    m_pNote->setVisible(!note.isEmpty());
    attachmentArea->setVisible(m_pAttachments->topLevelItemCount() > 0);
    resize(760, 560);
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
        const QString value = text(*m_pDocument, key);
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

void CMessageViewer::showBody() {
    if (!m_pDocument->HtmlBody().empty())
        m_pBody->setHtml(QString::fromStdWString(m_pDocument->HtmlBody()));
    else
        m_pBody->setPlainText(withPlainNewlines(text(*m_pDocument, L"Body")));
}
