#pragma once
// A clustering program of the user's in place of the own one. It is started by the shell with the name of a
// text file behind its command: data.txt, a row of numbers a line, parted by tabs. It prints the cluster of
// each row, whole numbers from 1 parted by blanks, commas or ends of lines.

#include <filesystem>
#include <span>
#include <string>
#include <vector>

#include "operations/operation_job.h"

namespace kymora {

inline constexpr const char* outsideFailedText = "Failed to activate KlustaWin through OLE automation";
inline constexpr const char* outsideStartedText =
    "The KlustaWin application should have started.\nPerform clustering operations, then click OK to accept "
    "partition data, or Cancel";
inline constexpr const char* noPartitionText = "Failed to get partition data\n";
inline constexpr const char* gotItemsText = "got {} items from Klustawin\n";
// Ids above it are no classes of data.
inline constexpr int mostOutsideClasses = 100000;
inline constexpr const char* otherCountText =
    "There are {} items in graph, but KlustaWin returned {} items. Abandoning";
inline constexpr const char* manyOutsideText =
    "There are so many clusters that some will show in the same colour.";

class OutsideClusters {
  public:
    // Writes the matrix into a folder of its own and starts the program. Throws JobRefused where the command
    // is empty or nothing can be started.
    OutsideClusters(const std::string& command, std::span<const double> rows, size_t columns);
    // Ends the program where it is still at work, and takes the folder away.
    ~OutsideClusters();
    OutsideClusters(const OutsideClusters&) = delete;
    OutsideClusters& operator=(const OutsideClusters&) = delete;

    // Waits for the program's end and answers the class of each row, from 0. Throws Cancelled, or JobRefused
    // in the words above where the program failed or what it printed is no such list.
    std::vector<int> Take(JobContext& context);

  private:
    void Start(const std::string& command);

    size_t count_;
    std::filesystem::path folder_;
    int process_ = -1;
    int status_ = 0;
};

// Of a text of ids from 1: the same from 0. Throws JobRefused.
std::vector<int> ParsePartition(std::string_view text, size_t items);

}  // namespace kymora
