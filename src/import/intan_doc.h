#pragma once
// Intan RHD2000 and RHS2000 recordings (.rhd, .rhs): files of data blocks, and folders whose info.rhd or
// info.rhs stands beside one file for each kind of signal or for each channel. Slower signals are drawn out
// to the amplifiers' rate; digital lines become event channels.

#include "import/block_times.h"
#include "import/digital_lines.h"
#include "import/intan_header.h"
#include "import/joined_files.h"
#include "import/stream_doc.h"

namespace kymora {

class CIntanDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeIntan; }

  protected:
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;
    const char* DetailsTitle() const override { return "Intan File Details"; }

  private:
    // Where numbers of a channel lie. Its samples are those of a block, or all of a file's.
    struct Place {
        uint64_t offset = 0;
        uint32_t stride = 2;
        int64_t steps = 1;         // samples of the recording that each lasts
        bool isThere = false;      // in a folder, a file may be missing
        bool isAlone = false;      // in a file of its own
        int64_t rows = INT64_MAX;  // that a file in a folder holds
    };

    bool IsTrace(const IntanChannel& channel) const;
    void PlaceInBlocks(uint64_t fileLength);
    void PlaceInFolder();
    ForeignTrace TraceOf(const IntanChannel& channel, const Place& place) const;
    void FindRuns(size_t channels);
    void ReadDigital(ForeignRecording& recording, int64_t from);
    void ReadWords(const Place& place, uint16_t mask, DigitalLines& lines);
    std::string Comment() const;

    IntanHeader header_;
    bool isFolder_ = false;
    std::vector<Place> places_;           // of header_.channels
    std::vector<size_t> traces_, lines_;  // indexes of those that can be traces, and of digital lines
    uint64_t timeAt_ = 0, dataAt_ = 0;
    bool hasTimes_ = false;
    int64_t blocks_ = 0, perBlock_ = 0;
    int64_t timed_ = 0;  // blocks that state their times
    std::vector<std::string> warnings_;
    uint64_t blockBytes_ = 0;
    std::vector<BlockRun> runs_;
    int64_t overlaps_ = 0;
    int64_t length_ = 0;  // of the recording, gaps included
};

}  // namespace kymora
