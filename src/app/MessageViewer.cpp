#include "app/MessageViewer.h"

#include "app/PreviewText.h"
#include "mail/EmailMetadataFile.h"

#include <QDialogButtonBox>
#include <QFileInfo>
#include <QTextBrowser>
#include <QVBoxLayout>

CMessageViewer::CMessageViewer(const std::wstring& path, QWidget* parent)
    : QDialog(parent), m_sPath(path), m_pText(new QTextBrowser) {
    setAttribute(Qt::WA_DeleteOnClose);
    setObjectName(QStringLiteral("messageViewer"));
    m_pText->setOpenLinks(false);

    const Kerf::QuireLib::CEmailMetadata_File record(path, true);
    fillPreview(*m_pText, record);
    const QString subject = QString::fromStdWString(record.GetStringValue(L"Subject"));
    const QString name = QFileInfo(QString::fromStdWString(path)).fileName();
    setWindowTitle(subject.isEmpty() ? name : subject + QStringLiteral(" - ") + name);

    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_pText);
    layout->addWidget(buttons);
    resize(640, 480);
}
