#pragma once
// How long a piece of work will still take, as the user is told: from what is done and the time that it took.

#include <chrono>
#include <string>

namespace kymora {

// "about 2 min left". Empty in the first seconds, which tell little, and near the end.
std::string TimeLeftText(std::chrono::duration<double> passed, double share);

// The same for work that began when this was made.
class TimeLeft {
  public:
    std::string Text(double share) const {
        return TimeLeftText(std::chrono::steady_clock::now() - began_, share);
    }

  private:
    std::chrono::steady_clock::time_point began_ = std::chrono::steady_clock::now();
};

}  // namespace kymora
