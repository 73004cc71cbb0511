#include "cycle/CentralSearchRun.h"

#include "central/CentralSearch.h"
#include "central/CentralSettings.h"
#include "support/Exception.h"
#include "support/Strings.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <exception>
#include <mutex>
#include <optional>

namespace Kerf::QuireLib {
namespace {

using Clock = std::chrono::steady_clock;

/// Text waiting for the front end beyond this holds the server's rows back:
/// a list that fills slower than the server sends costs no more memory.
constexpr std::size_t kMaxWaitingBytes = 16 << 20;
/// Each batch sorts the list again; a new one is announced at most this
/// often, except the first, which shows at once.
constexpr std::chrono::milliseconds kBatchEvery{100};
/// How long the front end waits for an ended search's thread.
constexpr std::chrono::milliseconds kEndGrace{500};

struct Cancelled {};

/// Whether the file opens for reading with the rights the program opens
/// files with. A sandbox that refuses the check itself (EPERM, ENOSYS from a
/// syscall filter) says nothing of the file: then the user's own is asked.
bool opensForReading(const std::string& path) {
    if (::faccessat(AT_FDCWD, path.c_str(), R_OK, AT_EACCESS) == 0)
        return true;
    return (errno == EPERM || errno == ENOSYS) && ::access(path.c_str(), R_OK) == 0;
}

} // namespace

struct CCentralSearchRun::Shared {
    std::mutex lock;
    std::condition_variable changed;
    Batch waiting;
    std::size_t waitingBytes = 0;
    /// Rows the server has sent so far.
    std::size_t arrived = 0;
    /// A RowsArrived event is on its way and its batch not yet taken.
    bool announced = false;
    std::optional<Clock::time_point> lastAnnounced;
    bool cancelled = false;
    bool ended = false;
    /// Stops the statement on the server, once there is a connection.
    std::shared_ptr<Central::CPgCanceller> canceller;

    /// Under the lock: whether the caller is to post a RowsArrived event.
    bool claimAnnouncement(bool force) {
        const Clock::time_point now = Clock::now();
        if (announced || (!force && lastAnnounced && now - *lastAnnounced < kBatchEvery))
            return false;
        announced = true;
        lastAnnounced = now;
        return true;
    }
};

CCentralSearchRun::CCentralSearchRun(std::unique_ptr<Central::CPgConnection> connection,
                                     std::string conninfo, SearchCriteria criteria,
                                     std::vector<std::wstring> folders,
                                     std::shared_ptr<Search::IEventSink> sink, std::uint64_t run)
    : m_pShared(std::make_shared<Shared>()), m_iRun(run) {
    m_thread = std::thread([shared = m_pShared, connection = std::move(connection),
                            conninfo = std::move(conninfo), criteria = std::move(criteria),
                            folders = std::move(folders), sink = std::move(sink), run]() mutable {
        const auto announce = [&] { sink->post({Search::IndexerMessage::RowsArrived, run}); };
        std::wstring error;
        try {
            if (!connection)
                connection =
                    std::make_unique<Central::CPgConnection>(conninfo, Central::kAnswerWithin);
            {
                std::lock_guard hold(shared->lock);
                if (shared->cancelled)
                    throw Cancelled{};
                shared->canceller = connection->canceller();
            }
            Central::searchCentralIndex(
                *connection, criteria, folders,
                [&](CEmailMetadata&& record, const Central::CentralRow& row) {
                    // The row says the user's role may read the folder;
                    // whether this file opens is the file system's word.
                    const bool opens = opensForReading(std::string(row.path));
                    std::unique_lock hold(shared->lock);
                    if (shared->waitingBytes >= kMaxWaitingBytes) {
                        if (shared->claimAnnouncement(true)) {
                            hold.unlock();
                            announce();
                            hold.lock();
                        }
                        shared->changed.wait(hold, [&] {
                            return shared->cancelled || shared->waitingBytes < kMaxWaitingBytes;
                        });
                    }
                    if (shared->cancelled)
                        throw Cancelled{};
                    ++shared->arrived;
                    if (!opens)
                        return;
                    shared->waiting.records.push_back(std::move(record));
                    shared->waitingBytes +=
                        row.textBytes * sizeof(wchar_t) + sizeof(CEmailMetadata);
                    const bool post = shared->claimAnnouncement(false);
                    hold.unlock();
                    if (post)
                        announce();
                });
        } catch (const Cancelled&) {
        } catch (const CExceptionBase& e) {
            error = e.getMessage();
        } catch (const std::exception& e) {
            // Nothing may leave the thread: the search ends and says why.
            error = Util::toWide(e.what());
        }
        // The connection goes before the end is told: the front end may
        // close once it knows.
        connection.reset();
        bool post = false;
        {
            std::lock_guard hold(shared->lock);
            shared->waiting.error = error;
            shared->waiting.finished = true;
            shared->ended = true;
            if (!shared->cancelled)
                post = shared->claimAnnouncement(true);
        }
        shared->changed.notify_all();
        if (post)
            announce();
    });
}

CCentralSearchRun::~CCentralSearchRun() {
    std::unique_lock hold(m_pShared->lock);
    m_pShared->cancelled = true;
    m_pShared->changed.notify_all();
    // Between rows the thread sees the flag at the next one; a statement
    // still waiting for its first row (a slow plan, a table locked on the
    // server) is stopped on the server. The request opens a connection of
    // its own, so it is sent from a thread that nothing waits for.
    if (!m_pShared->ended && m_pShared->canceller)
        std::thread([canceller = m_pShared->canceller] { canceller->cancel(); }).detach();
    if (m_pShared->changed.wait_for(hold, kEndGrace, [&] { return m_pShared->ended; })) {
        hold.unlock();
        m_thread.join();
        return;
    }
    // A server or share that stopped answering must not hold up the front
    // end: the thread keeps what it uses and ends on its own.
    m_thread.detach();
}

CCentralSearchRun::Batch CCentralSearchRun::take() {
    Batch batch;
    {
        std::lock_guard hold(m_pShared->lock);
        batch = std::move(m_pShared->waiting);
        batch.arrived = m_pShared->arrived;
        m_pShared->waiting = Batch{};
        m_pShared->waitingBytes = 0;
        m_pShared->announced = false;
    }
    m_pShared->changed.notify_all();
    return batch;
}

} // namespace Kerf::QuireLib
