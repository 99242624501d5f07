#pragma once
// What the two threads of the summary service share; for its sources only.

#include <algorithm>

#include "summaries/summary_service.h"

namespace kymora {

// One document. What the other thread works with is its own until the entry is dropped.
struct SummaryService::Entry {
    Entry(const CDataDoc& doc, LookSource info) : doc(&doc), info(std::move(info)) {}

    const CDataDoc* doc;  // only its address counts
    int views = 1;
    std::atomic<bool> stop{false};
    std::atomic<double> share{0.0};

    // Under the service's lock.
    State state = State::building;
    SummaryKey key;                    // with the stamp as it is now
    std::shared_ptr<Summary> arrived;  // on its way to the owner's thread

    // The owner's thread.
    std::shared_ptr<Summary> found;

    // The other thread. The information does not change.
    const LookSource info;
    std::optional<SummaryShape> shape;
    std::unique_ptr<SecondLook> source;
    std::unique_ptr<SecondLook> secondSource;  // of the helper that reads for a waiting view
    bool opensQuickly = false;
    std::unique_ptr<SummaryBuilder> builder;  // until the summary is complete and kept
    std::shared_ptr<Summary> own;
    bool isKept = false;    // the blocks are in the folder
    bool lookedUp = false;  // whether somebody else kept one meanwhile
};

struct SummaryService::Wish : Progress {
    BinTicket ticket = noTicket;
    std::shared_ptr<Entry> entry;
    int64_t from = 0;
    int level = 0;
    std::atomic<bool> cancelled{false};
    std::atomic<double> share{0.0};

    // Under the service's lock.
    BinAnswer::State state = BinAnswer::State::working;
    Bins bins;

    bool Update(uint64_t done) override {
        share = std::max(share.load(), static_cast<double>(done) / binCount);
        return !cancelled && !entry->stop;
    }
};

}  // namespace kymora
