#pragma once
// The central index's part of a search, on a thread of its own: the window
// goes on painting and Stop answers while the server reads a word found in
// half a million rows. The records come over in batches through the front
// end's event queue: a RowsArrived event says a batch waits, and the front
// end's thread takes it. Rows of files the user cannot open are left out on
// this thread, so that a share that stopped answering holds up no window.

#include "central/PgConnection.h"
#include "mail/EmailMetadata.h"
#include "mail/SearchCriteria.h"
#include "search/EventSink.h"

#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace Kerf::QuireLib {

class CCentralSearchRun {
public:
    /// What arrived since the last take().
    struct Batch {
        std::vector<CEmailMetadata> records;
        /// The search has ended; nothing more comes.
        bool finished = false;
        /// Rows the server sent in all, those left out included.
        std::size_t arrived = 0;
        /// Why the search ended early; empty when it ran to its end.
        std::wstring error;
    };

    /// Starts the search at once. Without a connection, the thread makes one
    /// from conninfo. Events carry `run`.
    CCentralSearchRun(std::unique_ptr<Central::CPgConnection> connection, std::string conninfo,
                      SearchCriteria criteria, std::vector<std::wstring> folders,
                      std::shared_ptr<Search::IEventSink> sink, std::uint64_t run);
    /// Asks the search to end and waits a little for its thread; a thread
    /// held up by the server is let go and cleans up after itself.
    ~CCentralSearchRun();
    CCentralSearchRun(const CCentralSearchRun&) = delete;
    CCentralSearchRun& operator=(const CCentralSearchRun&) = delete;

    Batch take();
    std::uint64_t run() const { return m_iRun; }

private:
    struct Shared;
    std::shared_ptr<Shared> m_pShared;
    std::thread m_thread;
    std::uint64_t m_iRun;
};

} // namespace Kerf::QuireLib
