#include "document/gap_notice.h"

#include <string>

namespace kymora {

namespace {

constexpr const char* gapNoticeText =
    "This file contains gaps in the data, during which acquisition was switched off.\n\nGaps between data "
    "are shown as "
    "zero-valued grey data.\n\nYou can remove gaps using the Transform: Concatenate menu option. This writes "
    "a file "
    "which includes only sections in which all traces contain valid data.\n\nIn a concatenated file, the "
    "start of each "
    "section is marked with an event, and the event label gives the real time of the start of that section.";
constexpr const char* gapsInThisVersionText = "\n\nThis version of Kymora has no Transform: Concatenate yet. "
                                              "It leaves gaps blank until you choose View: "
                                              "Inactive data sections.";

}  // namespace

void NoticeGaps(Host& host) {
    host.Notice("GapNotice", "Notification", std::string(gapNoticeText) + gapsInThisVersionText);
}

}  // namespace kymora
