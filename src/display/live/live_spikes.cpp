#include "display/live/live_spikes.h"

#include <algorithm>
#include <cmath>

namespace kymora {

void LiveSpikes::Begin(const ScanFormat& format, double sampleIntervalMs) {
    format_ = format;
    interval_ = sampleIntervalMs;
    scans_ = 0;
    Set(settings_);
}

void LiveSpikes::Set(const LiveSpikeSettings& settings) {
    settings_ = settings;
    since_ = scans_;
    count_ = 0;
    deadUntil_ = 0;
    wasBeyond_.reset();
    recent_.clear();
}

void LiveSpikes::Add(std::span<const std::byte> scans) {
    const size_t scanBytes = format_.ScanBytes();
    if (settings_.trace >= format_.channels) return Pass(static_cast<int64_t>(scans.size() / scanBytes));
    const auto dead = static_cast<int64_t>(std::llround(settings_.deadTimeMs / interval_));
    for (size_t at = 0; at + scanBytes <= scans.size(); at += scanBytes, ++scans_) {
        const double volts = format_.Volts(scans.subspan(at, scanBytes), settings_.trace);
        const bool isBeyond = settings_.isFalling ? volts <= settings_.level : volts >= settings_.level;
        const bool crosses = isBeyond && wasBeyond_ == false;
        wasBeyond_ = isBeyond;
        if (!crosses || scans_ < deadUntil_) continue;
        ++count_;
        deadUntil_ = scans_ + std::max<int64_t>(dead, 1);
        recent_.push_back(scans_);
        if (recent_.size() > mostRecent) recent_.pop_front();
    }
}

void LiveSpikes::Pass(int64_t scans) {
    scans_ += std::max<int64_t>(scans, 0);
    wasBeyond_.reset();
}

double LiveSpikes::Rate() const {
    const double second = std::min(1000.0 / interval_, static_cast<double>(scans_ - since_));
    if (!(second > 0.0)) return 0.0;
    const auto from =
        std::lower_bound(recent_.begin(), recent_.end(), scans_ - static_cast<int64_t>(std::llround(second)));
    return static_cast<double>(recent_.end() - from) * 1000.0 / (second * interval_);
}

}  // namespace kymora
