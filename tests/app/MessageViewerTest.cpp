// The program's own message viewer: bodies shown safely and within limits, damaged messages,
// attachments of any size and name, and Open never waiting for the desktop's answer on ".msg".

#include "SharedFiles.h"
#include "WindowTestSupport.h"

#include "MsgWriter.h"
#include "app/AttachmentFolder.h"
#include "app/DesktopAssociation.h"
#include "app/ItemActions.h"
#include "app/MessageViewer.h"
#include "app/SafeTextBrowser.h"
#include "app/SaveFolder.h"
#include "mail/EmailMetadataMessage.h"
#include "mail/SearchWords.h"
#include "msgfile/MessageAttachments.h"

#include <QBuffer>
#include <QFileDialog>
#include <QImage>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTextDocument>
#include <QTreeWidget>

#include <sys/wait.h>
#include <unistd.h>

using namespace WindowTest;
using Kerf::Util::fromPath;

namespace {

std::unique_ptr<CMessageViewer> showViewer(const fs::path& path) {
    auto viewer = std::make_unique<CMessageViewer>(fromPath(path));
    viewer->setAttribute(Qt::WA_DeleteOnClose, false);
    viewer->show();
    viewer->grab(); // lays out and paints the whole body
    QCoreApplication::processEvents();
    return viewer;
}

// The tests of messages the test writes itself read no message of the corpus.
QO_TESTS_READ_SHARED(Corpus, "MessageViewerCorpus.*");

// Whether the widget shows a pixel of that colour (a picture or a text in it).
bool shows(QWidget& widget, QColor colour) {
    const QImage image = widget.grab().toImage();
    for (int y = 0; y < image.height(); ++y)
        for (int x = 0; x < image.width(); ++x) {
            const QColor pixel = image.pixelColor(x, y);
            if (std::abs(pixel.red() - colour.red()) < 40 &&
                std::abs(pixel.green() - colour.green()) < 40 &&
                std::abs(pixel.blue() - colour.blue()) < 40)
                return true;
        }
    return false;
}

std::vector<std::uint8_t> pictureBytes(QColor colour) {
    QImage image(40, 40, QImage::Format_RGB32);
    image.fill(colour);
    QBuffer buffer;
    buffer.open(QIODevice::WriteOnly);
    image.save(&buffer, "PNG");
    return {buffer.data().begin(), buffer.data().end()};
}

// Rejects every message box (or, asked, every modal window) while it lives, noting each.
class ModalWatcher {
public:
    struct Seen {
        QString name, text;
        bool red = false;
    };
    explicit ModalWatcher(bool anyWindow = false) {
        QObject::connect(&m_poll, &QTimer::timeout, [this, anyWindow] {
            QWidget* modal = QApplication::activeModalWidget();
            auto* box = qobject_cast<QMessageBox*>(modal);
            if (box == nullptr && (!anyWindow || modal == nullptr))
                return;
            seen.push_back(
                {modal->objectName(), box ? box->text() : QString(), shows(*modal, Qt::red)});
            QMetaObject::invokeMethod(modal, "reject");
        });
        m_poll.start(20);
    }
    std::vector<Seen> seen;

private:
    QTimer m_poll;
};

// Answers the next file dialog with the path, typed as a user would; `offered` gets its offer.
void answerNextFileDialog(const QString& path, QString* offered = nullptr) {
    answerNextModal<QFileDialog>([path, offered](QFileDialog& dialog) {
        auto* name = dialog.findChild<QLineEdit*>("fileNameEdit");
        if (offered != nullptr)
            *offered = dialog.directory().filePath(name->text());
        if (!path.isEmpty())
            name->setText(path);
        QMetaObject::invokeMethod(&dialog, "accept");
    });
}

// A folder of the test's own for the messages it writes and the files it saves.
class MessageViewer : public testing::Test {
protected:
    std::unique_ptr<CMessageViewer> show(const QoMsg::MsgMessage& message) {
        QoMsg::writeMsgFile(dir / "written.msg", message);
        return showViewer(dir / "written.msg");
    }
    QoTest::TempDir dir;
};

using MessageViewerCorpus = MessageViewer;

// However a body names a red picture of the reader's, none shows and nothing is read from the
// file system. Bodies whose layout would take minutes or overflow the stack show as noted text.
TEST_F(MessageViewer, BodiesShowTheirTextAndNoFileOfTheReaders) {
    const std::vector<std::uint8_t> red = pictureBytes(Qt::red);
    QoTest::writeFile(dir / "red.png", std::string(red.begin(), red.end()));
    // A relative name is read from the working folder.
    const QString previous = QDir::currentPath();
    QDir::setCurrent(QString::fromStdString(dir.path().string()));
    const std::string file = (dir / "red.png").string();
    const std::string rtf = "{\\rtf1\\ansi\\fromhtml1 {\\*\\htmltag84 <img src=\"" + file +
                            "\">}\\htmlrtf x\\htmlrtf0 text}";
    const struct {
        const char* way;
        std::string html; // none: the RTF body
        std::string shown;
        const char* note = "";
    } bodies[] = {
        {"path", "<img src=\"" + file + "\" width=40 height=40>text", "text"},
        {"file url", "<img src=\"file://" + file + "\">text", "text"},
        {"relative name", "<img src=\"red.png\">text", "text"},
        {"tag in RTF", "", "text"},
        {"deep tables", QByteArray("<table><tr><td>").repeated(3000).toStdString() + "core words",
         "core words", "shown as plain text"},
    };
    for (const auto& body : bodies) {
        SCOPED_TRACE(body.way);
        QoMsg::MsgMessage message;
        if (body.html.empty())
            message.compressedRtf = QoMsg::storedRtf(rtf, true);
        else
            message.html = body.html;
        auto viewer = show(message);
        const QString shown = viewer->GetTextControl().toPlainText();
        EXPECT_TRUE(shown.contains(QString::fromStdString(body.shown))) << shown.toStdString();
        EXPECT_EQ(viewer->noteLabel().isVisible(), *body.note != '\0');
        EXPECT_TRUE(viewer->noteLabel().text().contains(QLatin1String(body.note)));
        EXPECT_FALSE(shows(*viewer->GetTextControl().viewport(), Qt::red));
    }
    // Given a name it did not make, the browser itself loads nothing either.
    CSafeTextBrowser browser;
    browser.setHtml(QString::fromStdString("<img src=\"" + file + "\" width=40 height=40>"));
    browser.show();
    EXPECT_FALSE(shows(*browser.viewport(), Qt::red));
    QDir::setCurrent(previous);
}

TEST_F(MessageViewer, HtmlBodyLoadsNothingAndOpensOnlyClickedWebLinks) {
    // A loopback server that counts the connections it is asked for.
    QTcpServer server;
    ASSERT_TRUE(server.listen(QHostAddress::LocalHost));
    int connections = 0;
    QObject::connect(&server, &QTcpServer::newConnection, [&] { ++connections; });
    const QString url = QStringLiteral("http://127.0.0.1:%1/").arg(server.serverPort());
    QoMsg::MsgMessage message;
    message.html = QStringLiteral("<html><head><link rel=\"stylesheet\" href=\"%1\">"
                                  "<script>document.write('scripted')</script></head><body>"
                                  "<p style=\"background-image: url(%2)\">Hello <b>reader</b></p>"
                                  "<img src=\"%3\">"
                                  "<a href=\"https://example.org/offer\">offer</a></body></html>")
                       .arg(url + "style.css", url + "back.png", url + "pixel.png")
                       .toStdString();
    auto viewer = show(message);
    CSafeTextBrowser& body = viewer->GetTextControl();
    const QString shown = body.toPlainText();
    EXPECT_TRUE(shown.contains("Hello reader") && shown.contains("offer")) << shown.toStdString();
    EXPECT_FALSE(shown.contains("scripted") || shown.contains("document.write"))
        << shown.toStdString();
    // The document did ask for the picture: it was refused, not missed.
    EXPECT_TRUE(body.refusedResources().contains(QUrl(url + "pixel.png")));

    UrlRecorder desktop({"http", "https", "file", "mailto"});
    emit body.anchorClicked(QUrl("https://example.org/offer"));
    emit body.anchorClicked(QUrl("file:///usr/bin/xterm"));
    // A mail link opens with the address alone: no files attached, no text.
    emit body.anchorClicked(QUrl("mailto:sales@example.org?attach=/etc/passwd&body=hi"));
    EXPECT_EQ(desktop.urls,
              (QList<QUrl>{QUrl("https://example.org/offer"), QUrl("mailto:sales@example.org")}));

    // A connection really made reaches the server, and it is the first.
    QTcpSocket probe;
    probe.connectToHost(QHostAddress::LocalHost, server.serverPort());
    EXPECT_TRUE(waitUntil([&] { return connections > 0; }, 30000));
    EXPECT_EQ(connections, 1);
}

TEST_F(MessageViewerCorpus, DamagedMessageShowsWhatCouldBeReadAndSaysSo) {
    const std::string bytes = QoTest::readFile(corpus("poi_quick.msg"));
    QoTest::writeFile(dir / "cut.msg", bytes.substr(0, bytes.size() * 7 / 10));
    QoTest::writeFile(dir / "text.msg", "not a message");
    const struct {
        const char* name;
        const char* note;
        bool subjectShown;
    } cases[] = {
        {"cut.msg", "the rest could not be read", true},
        {"text.msg", "could not be read as a message", false},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        auto viewer = showViewer(dir / c.name);
        EXPECT_TRUE(viewer->noteLabel().isVisible());
        EXPECT_TRUE(viewer->noteLabel().text().contains(QLatin1String(c.note)));
        EXPECT_EQ(viewer->headerLabel().text().contains("Test the content transformer"),
                  c.subjectShown);
    }
}

// Pictures the message carries show in place: found by content id, else by a "cid:" name.
TEST_F(MessageViewer, PicturesCarriedByTheMessageShowInline) {
    QoMsg::MsgMessage message;
    message.html = "<img src=\"cid:part1.0609@example.com\"> <img src=\"cid:photo.png@01D0A524\">";
    message.attachments.push_back(
        {1, L"image001.png", pictureBytes(Qt::green), nullptr, L"<part1.0609@example.com>"});
    message.attachments.push_back({1, L"photo.png", pictureBytes(Qt::blue), nullptr, L""});
    auto viewer = show(message);
    EXPECT_TRUE(viewer->GetTextControl().refusedResources().isEmpty());
    EXPECT_TRUE(shows(*viewer->GetTextControl().viewport(), Qt::green));
    EXPECT_TRUE(shows(*viewer->GetTextControl().viewport(), Qt::blue));
}

TEST_F(MessageViewerCorpus, AttachmentsAreListedOpenedAndAttachedMessagesShownOnTheirOwn) {
    const fs::path path = corpus("poi_attachment_msg_pdf.msg");
    std::string error;
    const auto reader = Kerf::QuireLib::CMessageAttachments::openFile(fromPath(path), error);
    ASSERT_TRUE(reader) << error;

    auto viewer = showViewer(path);
    QTreeWidget& list = viewer->attachmentList();
    ASSERT_EQ(list.topLevelItemCount(), 2);
    EXPECT_TRUE(list.isVisible());
    EXPECT_EQ(list.topLevelItem(0)->text(0), "Test Attachment");
    EXPECT_EQ(list.topLevelItem(1)->text(0), "smbprn.00009008.KdcPjl.pdf");
    EXPECT_EQ(list.topLevelItem(1)->text(1), "13 KB"); // as the results list writes sizes
    // Room for six attachments at least.
    EXPECT_GE(list.viewport()->height(), 6 * list.sizeHintForRow(0));

    // Enter opens: the desktop gets a copy in a folder only this user can enter.
    {
        UrlRecorder desktop;
        list.setCurrentItem(list.topLevelItem(1));
        list.setFocus();
        // Enter must not also press a viewer button: a dialog it opened would wait for an answer.
        ModalWatcher modals(true);
        QTest::keyClick(&list, Qt::Key_Return);
        EXPECT_TRUE(modals.seen.empty()) << modals.seen.front().name.toStdString();
        EXPECT_TRUE(viewer->isVisible());
        ASSERT_EQ(desktop.urls.size(), 1);
        const QString copy = desktop.urls[0].toLocalFile();
        EXPECT_EQ(QFileInfo(copy).fileName(), "smbprn.00009008.KdcPjl.pdf");
        const fs::path own = fs::path(copy.toStdString()).parent_path();
        for (const fs::path& folder : {own, own.parent_path()})
            EXPECT_EQ(fs::status(folder).permissions() & fs::perms::all, fs::perms::owner_all)
                << folder;
    }

    // The attached message opens in a viewer of its own.
    viewer->openAttachment(0);
    const auto inner = viewer->findChildren<CMessageViewer*>();
    ASSERT_EQ(inner.size(), 1);
    EXPECT_TRUE(inner[0]->isVisible());
    const std::wstring subject =
        Kerf::QuireLib::CEmailMetadata_Message(*reader->openMessage(0)).GetStringValue(L"Subject");
    ASSERT_FALSE(subject.empty());
    EXPECT_TRUE(inner[0]->headerLabel().text().contains(QString::fromStdWString(subject)));
    EXPECT_TRUE(inner[0]->path().empty());
    // Save As writes it as a message file of its own.
    const QString saved = QString::fromStdString((dir / "inner.msg").string());
    SaveFolder::remember(saved);
    list.setCurrentItem(list.topLevelItem(0));
    answerNextFileDialog(saved);
    viewer->findChild<QPushButton*>("saveAttachment")->click();
    EXPECT_TRUE(Kerf::QuireLib::CMessageAttachments::openFile(saved.toStdWString(), error));
}

// Open hands the desktop a copy, whole whatever its size (through a bounded buffer), and Save As
// writes the same, starting in the folder saved into last; a name too long is cut before its
// extension. Open asks first for what could run: programs, scripts, desktop entries and names that
// hide their ending behind direction marks. Every box shows the sender's names as written.
TEST_F(MessageViewer, AttachmentsComeOutWholeAndOpenAsksFirstForWhatCouldRun) {
    std::string big((65u << 20) + 3, '\0');
    for (std::size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<char>(i * 7 + (i >> 20));
    // No "/" in it, so that it stays whole in a file name.
    const std::wstring banner = L"Q3<font color=#ff0000 size=7>GIVE YOUR PASSWORD";
    const std::string elf("\177ELF\2\1\1\0\0\0\0\0\0\0\0\0\2\0\x3e\0", 20);
    const struct {
        std::wstring name;
        std::string content;
        std::int32_t method;
        const char* box; // the box Open shows; none when it opens at once
    } attachments[] = {
        {L"notes.txt", "plain notes", 1, ""},
        {L"big.bin", big, 1, ""},
        {std::wstring(150, L'\u00e9') + L".pdf", "%PDF", 1, ""}, // 304 bytes
        {L"run.desktop", "[Desktop Entry]\nType=Application\nExec=xterm\n", 1, "openingRisk"},
        {L"setup", "#!/bin/sh\necho hello\n", 1, "openingRisk"},
        {L"tool", elf, 1, "openingRisk"},
        {L"invoice\u202Efdp.txt", "%PDF", 1, "openingRisk"},
        {banner + L".desktop", "[Desktop Entry]\n", 1, "openingRisk"},
        {banner + L".doc", "", 6, ""}, // unreadable: a box without a name says so
    };
    QoMsg::MsgMessage message;
    for (const auto& a : attachments)
        message.attachments.push_back(
            {a.method, a.name, std::vector<std::uint8_t>(a.content.begin(), a.content.end())});
    auto viewer = show(message);
    const QString earlier = QString::fromStdString((dir / "earlier").string());
    QDir().mkdir(earlier);
    SaveFolder::remember(earlier + QStringLiteral("/before.txt"));

    const auto expectWhole = [](const QString& path, const auto& a) {
        EXPECT_TRUE(QoTest::readFile(path.toStdString()) == a.content); // not printed: 65 MB
        EXPECT_EQ(fs::status(path.toStdString()).permissions() & fs::perms::all,
                  fs::perms::owner_read | fs::perms::owner_write);
        const QString name = QFileInfo(path).fileName(), written = QString::fromStdWString(a.name);
        EXPECT_LE(name.toUtf8().size(), 255);
        EXPECT_TRUE(name == written ||
                    (written.startsWith(name.chopped(4)) && name.endsWith(written.right(4))))
            << name.toStdString();
    };
    for (std::size_t row = 0; row < std::size(attachments); ++row) {
        const auto& a = attachments[row];
        SCOPED_TRACE(Kerf::Util::toNarrow(a.name));
        UrlRecorder desktop;
        ModalWatcher boxes;
        viewer->openAttachment(static_cast<int>(row));
        if (a.method == 1 && *a.box == '\0') {
            ASSERT_EQ(desktop.urls.size(), 1);
            expectWhole(desktop.urls[0].toLocalFile(), a);
            QString saved;
            answerNextFileDialog({}, &saved);
            viewer->saveAttachment(static_cast<int>(row));
            EXPECT_EQ(QFileInfo(saved).absolutePath(), earlier);
            expectWhole(saved, a);
            EXPECT_TRUE(boxes.seen.empty()) << boxes.seen.front().text.toStdString();
            continue;
        }
        EXPECT_TRUE(desktop.urls.isEmpty()); // the box was answered No
        ASSERT_EQ(boxes.seen.size(), 1u);
        EXPECT_EQ(boxes.seen[0].name, a.box);
        EXPECT_TRUE(boxes.seen[0].text.contains(QString::fromStdWString(a.name)));
        EXPECT_FALSE(boxes.seen[0].red);
    }
}

// Folders a crashed run left are cleared: only this program's, this user's, 0700, of ended runs.
TEST_F(MessageViewer, StaleAttachmentFoldersOfEndedRunsAreCleared) {
    const pid_t child = ::fork();
    if (child == 0)
        ::_exit(0);
    ::waitpid(child, nullptr, 0);
    const std::string ended = "qosearch-" + std::to_string(child) + "-";
    const struct {
        std::string name;
        fs::perms mode;
        bool cleared;
    } folders[] = {
        {ended + "aB3dE6", fs::perms::owner_all, true},
        {"qosearch-" + std::to_string(::getpid()) + "-aB3dE6", fs::perms::owner_all, false},
        {ended + "open77", fs::perms::owner_all | fs::perms::group_read, false},
        {ended + "toolong1", fs::perms::owner_all, false},
        {"mine-" + std::to_string(child) + "-aB3dE6", fs::perms::owner_all, false},
    };
    for (const auto& f : folders) {
        QoTest::writeFile(dir / f.name / "1" / "report.pdf", "%PDF");
        fs::permissions(dir / f.name, f.mode);
    }
    // A link named as ours leads elsewhere: neither it nor its target goes.
    QoTest::writeFile(dir / "kept" / "keep.txt", "keep");
    fs::create_directory_symlink(dir / "kept", dir / (ended + "link00"));

    EXPECT_EQ(AttachmentFolder::clearStale(QString::fromStdString(dir.path().string())), 1);
    for (const auto& f : folders)
        EXPECT_EQ(fs::exists(dir / f.name), !f.cleared) << f.name;
    EXPECT_TRUE(fs::exists(dir / "kept" / "keep.txt"));
}

TEST_F(MessageViewerCorpus, MarksTheSearchedWordsStepsThroughThemWithF3AndPrintsHeaderAndBody) {
    auto viewer = showViewer(corpus("poi_quick.msg"));
    Kerf::QuireLib::SearchCriteria criteria;
    criteria.m_sKeywords = L"quick dog";
    ASSERT_EQ(viewer->markSearchWords(Kerf::QuireLib::searchWords(criteria)), 2);
    for (const auto& [modifiers, word] :
         {std::pair{Qt::NoModifier, "quick"}, std::pair{Qt::NoModifier, "dog"},
          std::pair{Qt::NoModifier, "quick"}, std::pair{Qt::ShiftModifier, "dog"}}) {
        QTest::keyClick(viewer.get(), Qt::Key_F3, modifiers);
        EXPECT_EQ(viewer->GetTextControl().textCursor().selectedText(), word);
    }
    const QString printed = viewer->printedDocument()->toPlainText();
    for (const char* part : {"Kevin Roast", "Test the content transformer",
                             "The quick brown fox jumps over the lazy dog"})
        EXPECT_TRUE(printed.contains(part)) << printed.toStdString();
}

// A desktop slow to name its ".msg" program: Open shows our viewer at once, its program later.
TEST_F(MessageViewerCorpus, OpenNeverWaitsForTheDesktopsAnswer) {
    const fs::path released = dir / "released";
    const fs::path query = dir / "slow-query";
    QoTest::writeFile(query, "#!/bin/sh\nwhile [ ! -e '" + released.string() +
                                 "' ]; do sleep 0.05; done\necho reader.desktop\n");
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

    QoTest::writeFile(released, "\n");
    EXPECT_EQ(association.waitForAnswer(60000), std::optional<bool>(true));
    EXPECT_EQ(ItemActions::openMessages(paths, &parent, association), 0);
    EXPECT_EQ(desktop.urls, QList<QUrl>{QUrl::fromLocalFile(QString::fromStdWString(paths[0]))});
}

} // namespace
