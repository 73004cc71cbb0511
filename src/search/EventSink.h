#pragma once
// How indexer threads tell a front end what they are doing without touching
// it: they post numbered messages to a sink, which queues them for the front
// end's own thread (the window turns them into Qt events, the command line
// handles them on its main thread). Posting never blocks on the front end.
// Each message carries the number of the run that sent it, so that a message
// of a run the front end has already left behind can be told apart.

#include <cstdint>

namespace Kerf::Search {

/// Message numbers, counted from the first number the front end reserves.
enum class IndexerMessage : int {
    BeginWork = 1,
    EndWork = 2,
    BeginScanningDirectory = 3,
    EndScanningDirectory = 4,
    BeginScanningFile = 5,
    EndScanningFile = 6,
    BeginBuildingMetadata = 7,
    EndBuildingMetadata = 8,
    BeginBuildingMetadataItem = 9,
    EndBuildingMetadataItem = 10,
    BeginUpdatingIndex = 11,
    EndUpdatingIndex = 12,
    BeginUpdatingIndexItem = 13,
    EndUpdatingIndexItem = 14,
    /// Rows of a search that runs on a thread of its own wait to be taken;
    /// the number is that search's, not an indexer run's.
    RowsArrived = 15,
};

/// One message of one run of an indexer.
struct IndexerEvent {
    IndexerMessage message = IndexerMessage::BeginWork;
    std::uint64_t run = 0;
    bool operator==(const IndexerEvent&) const = default;
};

class IEventSink {
public:
    virtual ~IEventSink() = default;
    /// Queues the event for the front end; false when it could not be queued.
    virtual bool post(const IndexerEvent& event) = 0;
};

} // namespace Kerf::Search
