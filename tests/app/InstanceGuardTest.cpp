#include "app/InstanceGuard.h"
#include "cycle/UserPlaces.h"

#include "TempDir.h"

#include <QCoreApplication>
#include <QFile>
#include <QProcess>
#include <QSignalSpy>
#include <QUuid>

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

QCoreApplication& app() {
    static int argc = 1;
    static char name[] = "instance_guard_tests";
    static char* argv[] = {name, nullptr};
    static QCoreApplication application(argc, argv);
    return application;
}

QString uniqueName() {
    return "QOSEARCH_test_" + QUuid::createUuid().toString(QUuid::WithoutBraces);
}

/// A folder whose path is `length` characters long, below `base`.
std::filesystem::path longFolder(const std::filesystem::path& base, std::size_t length) {
    std::filesystem::path path = base;
    while (path.string().size() + 1 < length)
        path /= std::string(std::min<std::size_t>(40, length - path.string().size() - 1), 'd');
    std::filesystem::create_directories(path);
    return path;
}

/// The first claim wins; a second ends, handing the first its files whole or asking it to raise.
void expectOneOwnerThatIsRaised(const QString& name, const QStringList& files = {}) {
    CInstanceGuard first(name);
    ASSERT_TRUE(first.claim());
    const auto othersMay = QFileDevice::ReadGroup | QFileDevice::WriteGroup |
                           QFileDevice::ReadOther | QFileDevice::WriteOther;
    EXPECT_FALSE(QFile::permissions(CInstanceGuard::socketPath(name) + ".lock") & othersMay)
        << "the lock file is the user's own";
    QSignalSpy raised(&first, &CInstanceGuard::raiseRequested);
    QSignalSpy opened(&first, &CInstanceGuard::openRequested);
    CInstanceGuard second(name);
    EXPECT_FALSE(second.claim(files));
    QSignalSpy& asked = files.isEmpty() ? raised : opened;
    ASSERT_TRUE(!asked.isEmpty() || asked.wait(60000));
    if (!files.isEmpty()) {
        EXPECT_EQ(opened.takeFirst().at(0).toStringList(), files);
        EXPECT_TRUE(raised.isEmpty());
    }
}

} // namespace

TEST(InstanceGuard, ASecondStartEndsAndAsksTheFirstToRaiseOrToOpenItsFiles) {
    app();
    expectOneOwnerThatIsRaised(uniqueName());
    // Opening message files while the program runs: the running one opens them.
    expectOneOwnerThatIsRaised(uniqueName(), {"/tmp/a b/Quarterly report.msg",
                                              "/tmp/line\nbreak #1%.msg", "/tmp/Grüße/はい.msg"});

    // A name a crashed instance left is taken over: a socket file that nobody listens on.
    const QString name = uniqueName();
    const QByteArray path = CInstanceGuard::socketPath(name).toLocal8Bit();
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.constData(), sizeof addr.sun_path - 1);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    ::close(fd);
    expectOneOwnerThatIsRaised(name);
}

// A user whose data and runtime folders sit on long paths still gets exactly one window: the
// derived name and the runtime folder are far past what a local socket address holds.
TEST(InstanceGuard, LongDataAndRuntimeFoldersStillGiveOneWindow) {
    app();
    QoTest::TempDir temp;
    const auto data = longFolder(temp / "data", 200);
    const auto runtime = longFolder(temp / "run", 200);
    ASSERT_EQ(runtime.string().size(), 200u);
    // The windows started below inherit these; this process derives the name as they do.
    QoTest::ScopedVariable dataHome("XDG_DATA_HOME", data.c_str());
    QoTest::ScopedVariable configHome("XDG_CONFIG_HOME", (temp / "config").c_str());
    QoTest::ScopedVariable runtimeDir("XDG_RUNTIME_DIR", runtime.c_str());
    QoTest::ScopedVariable platform("QT_QPA_PLATFORM", "offscreen");
    const QString name = QString::fromStdWString(Kerf::QuireLib::UserPlaces::buildInstanceName(
        Kerf::QuireLib::UserPlaces::buildIndexDirectory()));

    // The first start stays up; a second, started once the first owns the name, ends at once.
    const QString program = QStringLiteral(QOSEARCH_BINARY_DIR "/src/app/qosearch");
    QProcess window;
    window.start(program, {});
    ASSERT_TRUE(window.waitForStarted(30000));
    const QString socket = CInstanceGuard::socketPath(name);
    for (int waited = 0; !QFile::exists(socket) && waited < 120000; waited += 50)
        EXPECT_FALSE(window.waitForFinished(50)) << window.readAllStandardError().toStdString();
    ASSERT_TRUE(QFile::exists(socket));
    EXPECT_FALSE(window.waitForFinished(1000)) << window.readAllStandardError().toStdString();
    QProcess again;
    again.start(program, {});
    EXPECT_TRUE(again.waitForFinished(120000));
    EXPECT_EQ(again.exitCode(), 0);
    EXPECT_EQ(window.state(), QProcess::Running);
    window.kill();
    window.waitForFinished(30000);
    // A killed window leaves its socket and lock file, which a test must not leave behind.
    QFile::remove(socket);
    QFile::remove(socket + ".lock");
}
