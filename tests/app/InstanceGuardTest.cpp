#include "app/InstanceGuard.h"

#include <QCoreApplication>
#include <QDir>
#include <QElapsedTimer>
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

bool waitFor(QSignalSpy& spy) {
    QElapsedTimer timer;
    timer.start();
    while (spy.isEmpty() && timer.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 50);
    return !spy.isEmpty();
}

} // namespace

TEST(InstanceGuard, ASecondStartEndsAndAsksTheFirstToRaise) {
    app();
    const QString name = uniqueName();
    CInstanceGuard first(name);
    ASSERT_TRUE(first.claim());
    QSignalSpy raised(&first, &CInstanceGuard::raiseRequested);

    CInstanceGuard second(name);
    EXPECT_FALSE(second.claim());
    EXPECT_TRUE(waitFor(raised));
}

TEST(InstanceGuard, ANameLeftByACrashedInstanceIsTakenOver) {
    app();
    const QString name = uniqueName();
    // A socket file that nobody listens on, as a killed instance leaves it.
    const QByteArray path = (QDir::tempPath() + "/" + name).toLocal8Bit();
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    ASSERT_GE(fd, 0);
    sockaddr_un addr{};
    addr.sun_family = AF_UNIX;
    std::strncpy(addr.sun_path, path.constData(), sizeof addr.sun_path - 1);
    ASSERT_EQ(::bind(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
    ::close(fd);

    CInstanceGuard guard(name);
    EXPECT_TRUE(guard.claim());
    QSignalSpy raised(&guard, &CInstanceGuard::raiseRequested);
    CInstanceGuard later(name);
    EXPECT_FALSE(later.claim());
    EXPECT_TRUE(waitFor(raised));
}
