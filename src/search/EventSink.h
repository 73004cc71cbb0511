#pragma once
// How indexer threads tell a front end what they are doing without touching
// it: they post numbered messages to a sink, which queues them for the front
// end's own thread (the window turns them into Qt events, the command line
// handles them on its main thread). Posting never blocks on the front end.

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
};

class IEventSink {
public:
    virtual ~IEventSink() = default;
    /// Queues the message for the front end; false when it could not be queued.
    virtual bool post(IndexerMessage message) = 0;
};

} // namespace Kerf::Search
