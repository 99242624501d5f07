#include "document/run_list.h"

#include <algorithm>

namespace kymora {

RunList::RunList(std::vector<uint32_t> runs) : runs_(std::move(runs)) {
    if (runs_.empty()) runs_.push_back(0);
    Index();
}

void RunList::SetFirstRun(uint32_t samples) {
    runs_[0] = samples;
    Index();
}

void RunList::Index() {
    length_ = stored_ = 0;
    checkpoints_.clear();
    for (size_t i = 0; i < runs_.size(); ++i) {
        if (i % stride == 0) checkpoints_.push_back({length_, stored_});
        length_ += runs_[i];
        if (i % 2 == 0) stored_ += runs_[i];
    }
}

RunList::Place RunList::PlaceOf(int i) const {
    const int block = std::min(i / stride, static_cast<int>(checkpoints_.size()) - 1);
    Place place{block * stride, checkpoints_[static_cast<size_t>(block)].start,
                checkpoints_[static_cast<size_t>(block)].stored, false};
    for (; place.run < i; ++place.run) {
        const uint32_t run = runs_[static_cast<size_t>(place.run)];
        place.runStart += run;
        if (place.run % 2 == 0) place.storedBefore += run;
    }
    place.valid = place.run < Size() && place.run % 2 == 0;
    return place;
}

RunList::Place RunList::Find(int64_t position) const {
    if (position >= length_) return PlaceOf(Size());
    const auto after = std::upper_bound(checkpoints_.begin(), checkpoints_.end(), position,
                                        [](int64_t p, const Checkpoint& c) { return p < c.start; });
    const auto block = static_cast<int>(after - checkpoints_.begin()) - 1;
    Place place{block * stride, checkpoints_[static_cast<size_t>(block)].start,
                checkpoints_[static_cast<size_t>(block)].stored, false};
    while (place.runStart + runs_[static_cast<size_t>(place.run)] <= position) {
        const uint32_t run = runs_[static_cast<size_t>(place.run)];
        place.runStart += run;
        if (place.run % 2 == 0) place.storedBefore += run;
        ++place.run;
    }
    place.valid = place.run % 2 == 0;
    return place;
}

int64_t RunList::ValidBefore(int64_t position) const {
    if (position <= 0) return 0;
    if (position >= length_) return stored_;
    const Place place = Find(position);
    return place.storedBefore + (place.valid ? position - place.runStart : 0);
}

int64_t RunList::CountValid(int64_t from, int64_t to) const {
    return to > from ? ValidBefore(to) - ValidBefore(from) : 0;
}

void AddRun(std::vector<uint32_t>& runs, bool isValid, int64_t count) {
    if (count == 0) return;
    const bool lastIsValid = runs.size() % 2 == 1;
    if (isValid != lastIsValid) runs.push_back(0);
    runs.back() += static_cast<uint32_t>(count);
}

}  // namespace kymora
