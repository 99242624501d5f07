#pragma once
// The events that a file tells and has not told before.

#include <utility>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

class FileEventGrowth {
  public:
    // Looks for what `fresh` has from its file beyond what the file of `doc` told, which had `lengthBefore`
    // samples.
    FileEventGrowth(const CDataDoc& doc, const CDataDoc& fresh, int64_t lengthBefore);

    size_t Count() const { return count_; }
    size_t LeftOut() const { return leftOut_; }  // for which no channel is free
    bool IsEmpty() const { return count_ == 0 && leftOut_ == 0 && !anyLonger_; }
    // Puts them into the channels, as one step of undo that marks the document where `marks` is set.
    void Apply(CDataDoc& doc, bool marks);
    // What the file has told now.
    std::vector<FileFacts::Channel> channels;

  private:
    struct Longer {
        FileFacts::Event before;  // as the end of the file had cut it
        int32_t off = 0;
    };
    struct Addition {
        int place = 0;
        bool isNew = false;  // a channel that the file did not have
        std::string label{}, comment{};
        int32_t parentTrace = -1;
        std::vector<CEventKM> events{};
        std::vector<Longer> longer{};
    };

    void Compare(const CDataDoc& doc, const CEventChan& channel, FileFacts::Channel& now);
    int PlaceFor(const CDataDoc& doc, const FileFacts::Channel& now) const;
    static void Merge(UndoScope& scope, CDataDoc& doc, const Addition& addition);

    int64_t lengthBefore_;
    std::vector<const FileFacts::Channel*> used_{};
    std::vector<Addition> additions_{};
    size_t count_ = 0, leftOut_ = 0;
    bool anyLonger_ = false;
};

}  // namespace kymora
