#include "app/DesktopAssociation.h"

#include "app/ItemActions.h"
#include "support/Trace.h"

#include <QElapsedTimer>
#include <QProcess>

#include <chrono>

namespace {

// A desktop that has not answered by then has no usable answer.
constexpr int kQueryLimitMs = 20000;
// How often a running query looks whether the program is ending.
constexpr int kStopCheckMs = 100;

} // namespace

CDesktopAssociation::CDesktopAssociation(QString mimeType, QString program)
    : m_sMimeType(std::move(mimeType)), m_sProgram(std::move(program)) {}

CDesktopAssociation::~CDesktopAssociation() {
    m_bStopping = true;
    if (m_worker.joinable())
        m_worker.join();
}

void CDesktopAssociation::start() {
    std::call_once(m_started, [this] { m_worker = std::thread([this] { run(); }); });
}

std::optional<bool> CDesktopAssociation::answer() const {
    std::lock_guard lock(m_mutex);
    return m_answer;
}

std::optional<bool> CDesktopAssociation::waitForAnswer(int timeoutMs) {
    start();
    std::unique_lock lock(m_mutex);
    m_answered.wait_for(lock, std::chrono::milliseconds(timeoutMs),
                        [this] { return m_answer.has_value(); });
    return m_answer;
}

CDesktopAssociation& CDesktopAssociation::forMessages() {
    static CDesktopAssociation association{QLatin1String(ItemActions::kMessageMimeType)};
    association.start();
    return association;
}

void CDesktopAssociation::run() {
    bool found = false;
    {
        QProcess query;
        query.start(m_sProgram, {QStringLiteral("query"), QStringLiteral("default"), m_sMimeType});
        if (query.waitForStarted(kQueryLimitMs)) {
            QElapsedTimer clock;
            clock.start();
            while (!query.waitForFinished(kStopCheckMs) && query.state() != QProcess::NotRunning &&
                   !m_bStopping && clock.elapsed() < kQueryLimitMs) {
            }
            if (query.state() != QProcess::NotRunning) {
                query.kill();
                query.waitForFinished(kStopCheckMs);
            } else if (query.exitStatus() == QProcess::NormalExit && query.exitCode() == 0) {
                found = !query.readAllStandardOutput().trimmed().isEmpty();
            }
        }
        Kerf::Trace::tracef("Desktop application for %s: %s\n", m_sMimeType.toUtf8().constData(),
                            found ? "yes" : "none");
    }
    {
        std::lock_guard lock(m_mutex);
        m_answer = found;
    }
    m_answered.notify_all();
}
