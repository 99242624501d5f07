#pragma once
// The clustering of events or traces as operations run it: its settings, its words, its report, its colours.

#include "archive/archive.h"
#include "host/host.h"
#include "operations/operation_job.h"
#include "operations/param.h"
#include "results/result.h"
#include "statistics/gaussian_clusters.h"

namespace kymora {

inline constexpr const char* noClustersText = "Unable to cluster these data. Perhaps not enough?";
inline constexpr const char* singularText = "SINGULAR MATRIX!\n";
// Takes the number of classes that it started with.
inline constexpr const char* fewForStartText = "Too few events for {} starting clusters: started with {}.";
inline constexpr const char* manyClustersText =
    "Warning: more than 20 clusters found. Colour IDs>20 will be wrapped.";
inline constexpr size_t clusterColours = 20;

// 0x00BBGGRR, of the class with this id from 0; they repeat after 20.
uint32_t ClusterColour(int id);
inline constexpr uint32_t noClusterColour = 0x808080;

struct ClusterSettings {
    int32_t desired = 0, initial = 20;
    bool full = true;

    // Keys desiredClusters, fullCovariance, initialClusters.
    void Describe(ParamList& list);
    void Exchange(CArchive& archive);
    std::string Text() const;
};

// Has rows clustered, with progress ("Refining cluster 7"). What could not be clustered is told by the state
// of the answer. Throws Cancelled.
GaussianClusters RunClusters(std::span<const double> rows, size_t columns, const ClusterSettings& settings,
                             JobContext& context);
// What the log says of clusters: nothing of those that were found without a fault.
std::string ClusterLog(const GaussianClusters& clusters);
// The same, as every user of it tells of it. One class alone is none unless it was wished for: throws
// JobRefused then, and where there is no result.
void CheckClusters(const GaussianClusters& clusters, const ClusterSettings& settings, Host& host);
// What a run that goes on has to tell; empty for nothing.
std::vector<std::string> ClusterWords(const GaussianClusters& clusters, const ClusterSettings& settings);
// Of each row its class from 0; -1 of those that are left out.
std::vector<int> IdsOf(const GaussianClusters& clusters);

// "sub class 1", with proportion, means and covariances.
std::string ClassReport(std::span<const GaussianClass> classes);
// Class, count, proportion, and the mean and s.d. of each of the named columns.
Result ClassTable(std::span<const GaussianClass> classes, std::span<const int> ids,
                  std::span<const std::string> columns);

}  // namespace kymora
