#pragma once
// How transforms make the data of a preview: nothing is asked, told or logged, and what takes its time shows
// how far it is.

#include <functional>

#include "document/data_doc.h"
#include "host/quiet_host.h"
#include "transforms/preview_host.h"

namespace kymora {

// Says nothing while a preview is made, but shows a progress where the work takes longer than a user likes to
// wait.
class PreviewTalk : public QuietHost {
  public:
    explicit PreviewTalk(Host& host) : host_(host) {}
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t total) override;

  private:
    Host& host_;
};

// Reads the raw samples and has `make` fill the results, unless the recording has none. Whatever it throws
// stands in `data.message`, and the raw data in place of the results.
void MakePreview(CDataDoc& doc, PreviewData& data, const std::function<void(PreviewTalk&)>& make);

inline constexpr const char* noResultHereText =
    "No sample of the result lies in this stretch. Show a longer one.";
inline constexpr double positionTolerance = 1e-9;  // of a result that should lie on a sample

// More results lie in the stretch than a preview may have: there is none, and the message says so.
bool RefuseLongPreview(PreviewData& data, double results);

}  // namespace kymora
