#pragma once
// Several observers of one recording interface, which knows of one.

#include <algorithm>
#include <vector>

#include "acquisition/acq_view.h"

namespace kymora {

class AcqObservers : public AcqObserver {
  public:
    // Each outlives its place here, and neither comes nor goes while it is told of something.
    void Add(AcqObserver& observer) { observers_.push_back(&observer); }
    void Remove(AcqObserver& observer) { std::erase(observers_, &observer); }

    void OnStateChanged() override {
        for (AcqObserver* one : observers_) one->OnStateChanged();
    }
    void OnBegun() override {
        for (AcqObserver* one : observers_) one->OnBegun();
    }
    void OnScans(std::span<const std::byte> scans) override {
        for (AcqObserver* one : observers_) one->OnScans(scans);
    }
    void OnScansPassed(int64_t scans) override {
        for (AcqObserver* one : observers_) one->OnScansPassed(scans);
    }
    void OnSkipped(int64_t scan) override {
        for (AcqObserver* one : observers_) one->OnSkipped(scan);
    }
    void OnSaved(const std::filesystem::path& path) override {
        for (AcqObserver* one : observers_) one->OnSaved(path);
    }

  private:
    std::vector<AcqObserver*> observers_;
};

}  // namespace kymora
