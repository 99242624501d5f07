#include "sorting/cluster_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "operations/batch_base_dlg.h"

namespace kymora {

namespace {

constexpr int greatestCount = 200;
// Rows x columns x classes that take as long as one sample that is read, about.
constexpr uint64_t workPerValue = 50;

constexpr std::array<uint32_t, clusterColours> colours{
    0xB47730, 0x1C6FE8, 0x2CA02C, 0x2727D6, 0xBD6794, 0x4B568C, 0xC277E3, 0x7F7F00, 0x22BDBC, 0xCFBE17,
    0x783F04, 0x006BA6, 0x5CB85C, 0x7A6FF0, 0x8C1A5B, 0x2B3A67, 0x99449E, 0x34A0A4, 0x00A5FF, 0xE0A030};

}  // namespace

uint32_t ClusterColour(int id) { return colours[static_cast<size_t>(id) % clusterColours]; }

void ClusterSettings::Describe(ParamList& list) {
    list.Group("Clusters");
    list.Integer("desiredClusters", "Clusters", desired)
        .Limits(0, greatestCount)
        .Spin()
        .Tip("Enter the number of desired clusters: 0 means auto-search for most likely number");
    list.Flag("fullCovariance", "Full covariance", full)
        .Tip("Clusters may be ellipsoids that lie aslant. Otherwise their axes are those of the parameters");
    list.Integer("initialClusters", "Starting clusters", initial)
        .Limits(1, greatestCount)
        .Spin()
        .Tip("So many clusters are there at first; they are merged two by two");
}

void ClusterSettings::Exchange(CArchive& archive) {
    kymora::Exchange(archive, desired);
    kymora::Exchange(archive, full);
    kymora::Exchange(archive, initial);
}

std::string ClusterSettings::Text() const {
    return fmt::format("Clusters: {}\r\nCovariance: {}\r\nStarting clusters: {}\r\n",
                       desired == 0 ? "auto-search" : fmt::format("{}", desired), full ? "full" : "diagonal",
                       initial);
}

GaussianClusters RunClusters(std::span<const double> rows, size_t columns, const ClusterSettings& settings,
                             JobContext& context) {
    const auto initial = static_cast<uint64_t>(settings.initial);
    const uint64_t total = rows.size() * initial * workPerValue;
    ProgressScope progress(context, "Clustering", total, static_cast<uint64_t>(samplesAtOnce));
    const uint64_t step = std::max<uint64_t>(1, total / initial);
    GaussianClusters found = FindGaussianClusters(
        rows, columns, {settings.desired, settings.initial, settings.full}, [&](int classes) {
            if (progress.Get()) progress.Get()->SetPart(fmt::format("Refining cluster {}", classes));
            return progress.GoesOn(step * (initial - std::min(initial, static_cast<uint64_t>(classes))));
        });
    if (found.state == GaussianClusters::State::cancelled) throw Cancelled();
    return found;
}

std::string ClusterLog(const GaussianClusters& clusters) {
    std::string log;
    for (const int id : clusters.notSymmetric)
        log += fmt::format("warning, nonnonsymetric covariance for class {}\n", id);
    for (const int id : clusters.notPositive)
        log += fmt::format("Warning: nonpositive eigenvalues for class {}\n", id);
    if (clusters.state == GaussianClusters::State::singular) log += singularText;
    return log;
}

void CheckClusters(const GaussianClusters& clusters, const ClusterSettings& settings, Host& host) {
    using State = GaussianClusters::State;
    if (const std::string log = ClusterLog(clusters); !log.empty()) host.Log(log);
    if (clusters.state != State::found || (clusters.classes.size() < 2 && settings.desired != 1))
        throw JobRefused(noClustersText);
}

std::vector<std::string> ClusterWords(const GaussianClusters& clusters, const ClusterSettings& settings) {
    std::vector<std::string> words;
    if (clusters.reducedInitial)
        words.push_back(fmt::format(fewForStartText, settings.initial, clusters.started));
    if (clusters.classes.size() > clusterColours) words.emplace_back(manyClustersText);
    return words;
}

std::vector<int> IdsOf(const GaussianClusters& clusters) {
    std::vector<int> ids = clusters.ids;
    for (const size_t row : clusters.leftOut) ids[row] = -1;
    return ids;
}

std::string ClassReport(std::span<const GaussianClass> classes) {
    std::string text;
    for (size_t k = 0; k < classes.size(); ++k) {
        const GaussianClass& one = classes[k];
        const size_t size = one.mean.size();
        text += fmt::format("sub class {}\r\n\tprop:\t{:f}\r\n", k + 1, one.weight);
        if (size == 1) {
            text +=
                fmt::format("\tmean\t{:f}\r\n\ts.d.\t{:f}\r\n", one.mean[0], std::sqrt(one.covariance[0]));
            continue;
        }
        text += "\tmeans\t";
        for (const double mean : one.mean) text += fmt::format("{:f}\t", mean);
        text += "\r\n\tcovar\r\n";
        for (size_t a = 0; a < size; ++a) {
            text += "\t\t";
            for (size_t b = 0; b < size; ++b) text += fmt::format("{:f}\t", one.covariance[a * size + b]);
            text += "\r\n";
        }
    }
    return text;
}

Result ClassTable(std::span<const GaussianClass> classes, std::span<const int> ids,
                  std::span<const std::string> columns) {
    Result table{"clusters",
                 {{"clusters", static_cast<int64_t>(classes.size())}},
                 {{"cluster", {}}, {"count", {}}, {"proportion", {}}},
                 {}};
    for (const std::string& name : columns) table.columns.push_back({"mean " + name, {}});
    for (const std::string& name : columns) table.columns.push_back({"s.d. " + name, {}});
    std::vector<std::vector<ResultValue>> rows;
    for (size_t k = 0; k < classes.size(); ++k) {
        const GaussianClass& one = classes[k];
        rows.push_back({static_cast<int64_t>(k + 1),
                        static_cast<int64_t>(std::ranges::count(ids, static_cast<int>(k))), one.weight});
        rows.back().insert(rows.back().end(), one.mean.begin(), one.mean.end());
        for (size_t i = 0; i < one.mean.size(); ++i)
            rows.back().emplace_back(std::sqrt(one.covariance[i * one.mean.size() + i]));
    }
    table.SetRows(std::move(rows));
    return table;
}

}  // namespace kymora
