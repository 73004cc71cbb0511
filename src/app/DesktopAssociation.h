#pragma once
// Whether the desktop names an application for a media type. Asking
// ("xdg-mime query default TYPE") takes seconds on some desktops, so it is
// asked once, on a thread of its own; until the answer is in, it is unknown
// and callers go on without it.

#include <QString>

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <optional>
#include <thread>

class CDesktopAssociation {
public:
    /// `program` is the query tool, called as "program query default TYPE".
    explicit CDesktopAssociation(QString mimeType, QString program = QStringLiteral("xdg-mime"));
    /// Stops a query still running and waits for its thread.
    ~CDesktopAssociation();
    CDesktopAssociation(const CDesktopAssociation&) = delete;
    CDesktopAssociation& operator=(const CDesktopAssociation&) = delete;

    /// Starts the query on its thread; later calls do nothing. Returns at once.
    void start();
    /// The answer once the query has ended; nothing before.
    std::optional<bool> answer() const;
    /// Starts the query if need be and waits for the answer (scripts and
    /// tests; never on the window's thread while the user waits).
    std::optional<bool> waitForAnswer(int timeoutMs);

    /// The process's one for saved message files, started on first use.
    static CDesktopAssociation& forMessages();

private:
    void run();

    QString m_sMimeType;
    QString m_sProgram;
    std::once_flag m_started;
    std::thread m_worker;
    std::atomic<bool> m_bStopping{false};
    mutable std::mutex m_mutex;
    std::condition_variable m_answered;
    std::optional<bool> m_answer;
};
