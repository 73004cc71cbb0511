// The program's own message viewer: the HTML body shown without loading
// anything from anywhere, damaged messages, and Open never waiting for the
// desktop's answer about ".msg" files.

#include "WindowTestSupport.h"

#include "MsgWriter.h"
#include "app/DesktopAssociation.h"
#include "app/ItemActions.h"
#include "app/MessageViewer.h"
#include "app/SafeTextBrowser.h"
#include "mail/MessageDocument.h"
#include "msgfile/MessageAttachments.h"

#include <QFileDialog>
#include <QTreeWidget>

#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTcpServer>
#include <QTcpSocket>

#include <fstream>

using namespace WindowTest;
using Kerf::Util::fromPath;

namespace {

// Every connection a loopback server is asked for, kept open.
class ConnectionRecorder : public QTcpServer {
public:
    ConnectionRecorder() { listen(QHostAddress::LocalHost); }
    QString url(const char* path) const {
        return QStringLiteral("http://127.0.0.1:%1/%2").arg(serverPort()).arg(QLatin1String(path));
    }
    int connections = 0;

protected:
    void incomingConnection(qintptr descriptor) override {
        ++connections;
        auto* socket = new QTcpSocket(this);
        socket->setSocketDescriptor(descriptor);
    }
};

std::unique_ptr<CMessageViewer> showViewer(const fs::path& path) {
    auto viewer = std::make_unique<CMessageViewer>(fromPath(path));
    viewer->setAttribute(Qt::WA_DeleteOnClose, false);
    viewer->show();
    viewer->grab(); // lays out and paints the whole body
    QCoreApplication::processEvents();
    return viewer;
}

TEST(MessageViewer, HtmlBodyLoadsNothingAndOpensOnlyClickedWebLinks) {
    QoTest::TempDir dir;
    ConnectionRecorder server;
    ASSERT_TRUE(server.isListening());
    QoMsg::MsgMessage message;
    message.subject = L"Newsletter";
    message.html =
        QStringLiteral("<html><head><link rel=\"stylesheet\" href=\"%1\">"
                       "<script>document.write('scripted')</script></head><body>"
                       "<p style=\"background-image: url(%2)\">Hello <b>reader</b></p>"
                       "<img src=\"%3\"><img src=\"file:///etc/hostname\"><img src=\"local.png\">"
                       "<a href=\"https://example.org/offer\">offer</a></body></html>")
            .arg(server.url("style.css"), server.url("back.png"), server.url("pixel.png"))
            .toStdString();
    const fs::path path = dir / "html.msg";
    QoMsg::writeMsgFile(path, message);

    auto viewer = showViewer(path);
    CSafeTextBrowser& body = viewer->GetTextControl();
    const QString shown = body.toPlainText();
    EXPECT_TRUE(shown.contains("Hello reader") && shown.contains("offer")) << shown.toStdString();
    EXPECT_FALSE(shown.contains("scripted") || shown.contains("document.write"))
        << shown.toStdString();
    // The document did ask for the pictures: they were refused, not missed.
    const QList<QUrl>& refused = body.refusedResources();
    for (const QString& url : {server.url("pixel.png"), QStringLiteral("file:///etc/hostname"),
                               QStringLiteral("local.png")})
        EXPECT_TRUE(refused.contains(QUrl(url))) << url.toStdString();
    QTest::qWait(200);
    EXPECT_EQ(server.connections, 0);

    UrlRecorder desktop({"http", "https", "file"});
    emit body.anchorClicked(QUrl("https://example.org/offer"));
    emit body.anchorClicked(QUrl("file:///usr/bin/xterm"));
    EXPECT_EQ(desktop.urls, QList<QUrl>{QUrl("https://example.org/offer")});

    // The server does see a request that is really made.
    QNetworkAccessManager network;
    std::unique_ptr<QNetworkReply> reply(
        network.get(QNetworkRequest(QUrl(server.url("pixel.png")))));
    EXPECT_TRUE(waitUntil([&] { return server.connections > 0; }, 10000));
}

TEST(MessageViewer, DamagedMessageShowsWhatCouldBeReadAndSaysSo) {
    QoTest::TempDir dir;
    std::ifstream in(corpus("poi_quick.msg"), std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::ofstream(dir / "cut.msg", std::ios::binary).write(bytes.data(), bytes.size() * 7 / 10);
    std::ofstream(dir / "text.msg") << "not a message";
    fs::copy_file(corpus("poi_quick.msg"), dir / "whole.msg");
    const struct {
        const char* name;
        const char* note;
        bool subjectShown;
    } cases[] = {
        {"whole.msg", "", true},
        {"cut.msg", "the rest could not be read", true},
        {"text.msg", "could not be read as a message", false},
    };
    for (const auto& c : cases) {
        auto viewer = showViewer(dir / c.name);
        EXPECT_EQ(viewer->noteLabel().isVisible(), *c.note != '\0') << c.name;
        EXPECT_TRUE(viewer->noteLabel().text().contains(QLatin1String(c.note))) << c.name;
        EXPECT_EQ(viewer->headerLabel().text().contains("Test the content transformer"),
                  c.subjectShown)
            << c.name;
    }
}

// Pictures the message carries itself show in place ("cid:" addresses).
TEST(MessageViewer, PicturesCarriedByTheMessageShowInline) {
    auto viewer = showViewer(corpus("poi_attachment_msg_inlineImg.msg"));
    CSafeTextBrowser& body = viewer->GetTextControl();
    for (const QUrl& refused : body.refusedResources())
        EXPECT_NE(refused.scheme(), "cid") << refused.toString().toStdString();
    const QVariant picture = body.document()->resource(QTextDocument::ImageResource,
                                                       QUrl("cid:image001.png@01D0A524.96D40F30"));
    // Cached as the bytes handed in, or as the picture made of them.
    const QImage image = picture.typeId() == QMetaType::QByteArray
                             ? QImage::fromData(picture.toByteArray())
                             : qvariant_cast<QImage>(picture);
    EXPECT_EQ(image.size(), QSize(619, 157)) << picture.typeName(); // image001.png
}

// Answers the next file dialog with the path, typed into its file name field
// as a user would.
void answerNextFileDialog(const QString& path) {
    answerNextModal<QFileDialog>([path](QFileDialog& dialog) {
        dialog.findChild<QLineEdit*>("fileNameEdit")->setText(path);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
}

QByteArray fileBytes(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

TEST(MessageViewer, AttachmentsAreListedSavedOpenedAndAttachedMessagesShownOnTheirOwn) {
    QoTest::TempDir dir;
    const fs::path path = corpus("poi_attachment_msg_pdf.msg");
    std::string error;
    const auto reader = Kerf::QuireLib::CMessageAttachments::openFile(fromPath(path), error);
    ASSERT_TRUE(reader) << error;
    ASSERT_EQ(reader->attachments().size(), 2u);
    std::vector<std::uint8_t> pdf;
    ASSERT_TRUE(reader->readData(1, pdf));

    auto viewer = showViewer(path);
    // The HTML body rendered, its markup not shown as text.
    ASSERT_FALSE(Kerf::QuireLib::CMessageDocument(fromPath(path)).HtmlBody().empty());
    const QString shown = viewer->GetTextControl().toPlainText();
    EXPECT_TRUE(!shown.trimmed().isEmpty() && !shown.contains("<html", Qt::CaseInsensitive))
        << shown.toStdString();
    QTreeWidget& list = viewer->attachmentList();
    ASSERT_EQ(list.topLevelItemCount(), 2);
    EXPECT_TRUE(list.isVisible());
    EXPECT_EQ(list.topLevelItem(0)->text(0), "Test Attachment");
    EXPECT_EQ(list.topLevelItem(1)->text(0), "smbprn.00009008.KdcPjl.pdf");
    EXPECT_EQ(list.topLevelItem(1)->text(1),
              QLocale().formattedDataSize(13539, 1, QLocale::DataSizeTraditionalFormat));

    // Save As writes exactly what the reader extracts.
    const QString saved = QString::fromStdString((dir / "saved.pdf").string());
    list.setCurrentItem(list.topLevelItem(1));
    answerNextFileDialog(saved);
    ASSERT_TRUE(viewer->findChild<QPushButton*>("saveAttachment")->isEnabled());
    viewer->findChild<QPushButton*>("saveAttachment")->click();
    EXPECT_EQ(fileBytes(saved), QByteArray(reinterpret_cast<const char*>(pdf.data()),
                                           static_cast<qsizetype>(pdf.size())));

    // Open hands the desktop a copy in a folder only this user can enter.
    {
        UrlRecorder desktop;
        list.setCurrentItem(list.topLevelItem(1));
        list.setFocus();
        // Enter must not also press a button of the viewer: a dialog it
        // opened would wait for an answer, so one is refused and noted.
        bool dialogOpened = false;
        QTimer watch;
        watch.setSingleShot(true);
        QObject::connect(&watch, &QTimer::timeout, [&dialogOpened] {
            if (QWidget* modal = QApplication::activeModalWidget()) {
                dialogOpened = true;
                QMetaObject::invokeMethod(modal, "reject");
            }
        });
        watch.start(1000);
        QTest::keyClick(&list, Qt::Key_Return);
        EXPECT_FALSE(dialogOpened);
        EXPECT_TRUE(viewer->isVisible());
        ASSERT_EQ(desktop.urls.size(), 1);
        const QString copy = desktop.urls[0].toLocalFile();
        EXPECT_EQ(QFileInfo(copy).fileName(), "smbprn.00009008.KdcPjl.pdf");
        EXPECT_EQ(fileBytes(copy), fileBytes(saved));
        EXPECT_EQ(fs::status(copy.toStdString()).permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write);
        const fs::path own = fs::path(copy.toStdString()).parent_path();
        for (const fs::path& folder : {own, own.parent_path()})
            EXPECT_EQ(fs::status(folder).permissions() & fs::perms::all, fs::perms::owner_all)
                << folder;
    }

    // The attached message opens in a viewer of its own.
    list.setCurrentItem(list.topLevelItem(0));
    EXPECT_FALSE(viewer->findChild<QPushButton*>("saveAttachment")->isEnabled());
    viewer->openAttachment(0);
    const auto inner = viewer->findChildren<CMessageViewer*>();
    ASSERT_EQ(inner.size(), 1);
    EXPECT_TRUE(inner[0]->isVisible());
    const std::wstring subject =
        Kerf::QuireLib::CEmailMetadata_Message(*reader->openMessage(0)).GetStringValue(L"Subject");
    ASSERT_FALSE(subject.empty());
    EXPECT_TRUE(inner[0]->headerLabel().text().contains(QString::fromStdWString(subject)));
    EXPECT_TRUE(inner[0]->path().empty());
}

// A desktop that is slow to say which program opens ".msg" files: Open
// shows the program's viewer at once, and the desktop's program once known.
TEST(MessageViewer, OpenNeverWaitsForTheDesktopsAnswer) {
    QoTest::TempDir dir;
    const fs::path released = dir / "released";
    const fs::path query = dir / "slow-query";
    std::ofstream(query) << "#!/bin/sh\nwhile [ ! -e '" << released.string()
                         << "' ]; do sleep 0.05; done\necho reader.desktop\n";
    fs::permissions(query, fs::perms::owner_all);
    fs::copy_file(corpus("poi_quick.msg"), dir / "quick.msg");
    const std::vector<std::wstring> paths = {fromPath(dir / "quick.msg")};

    CDesktopAssociation association(QLatin1String(ItemActions::kMessageMimeType),
                                    QString::fromStdString(query.string()));
    association.start();
    UrlRecorder desktop;
    QWidget parent;
    EXPECT_EQ(ItemActions::openMessages(paths, &parent, association), 1);
    EXPECT_FALSE(association.answer().has_value()); // still asking
    EXPECT_EQ(parent.findChildren<CMessageViewer*>().size(), 1);

    std::ofstream(released).put('\n');
    EXPECT_EQ(association.waitForAnswer(30000), std::optional<bool>(true));
    EXPECT_EQ(ItemActions::openMessages(paths, &parent, association), 0);
    EXPECT_EQ(desktop.urls, QList<QUrl>{QUrl::fromLocalFile(QString::fromStdWString(paths[0]))});
}

} // namespace
