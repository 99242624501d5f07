#pragma once
// Intermediate results of kernels in temporary files.

#include <filesystem>

#include "host/file_system.h"
#include "host/host.h"
#include "kernels/streams.h"

namespace kymora {

// Each run is a file without a name in a folder, which goes when the run goes, also by a kill. The sources of
// a run must not outlive it, and the runs not the file system.
class TemporaryScratch : public ScratchRoom {
  public:
    TemporaryScratch(FileSystem& files, Host& host, std::filesystem::path folder)
        : files_(files), host_(host), folder_(std::move(folder)) {}
    std::unique_ptr<ScratchRun> Make() override;

  private:
    FileSystem& files_;
    Host& host_;
    std::filesystem::path folder_;
};

}  // namespace kymora
