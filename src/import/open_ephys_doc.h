#pragma once
// Open Ephys recordings in the binary format: a folder whose structure.oebin names its streams. Digital
// lines, messages and sorted spikes become event channels. Layout: the documentation of the Open Ephys GUI.

#include <nlohmann/json_fwd.hpp>

#include "import/block_times.h"
#include "import/stream_doc.h"

namespace kymora {

class COpenEphysDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeOpenEphys; }

  protected:
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;
    const char* DetailsTitle() const override { return "Open Ephys Details"; }

  private:
    struct Channel {
        std::string label, units;
        double factor = 1.0;
    };
    struct Stream {
        std::string folder;      // under continuous
        std::string streamName;  // by which events name theirs; may be empty
        double rate = 0.0;
        std::vector<Channel> channels;
        int64_t samples = 0;      // in the file
        int64_t firstNumber = 0;  // of its first sample
        std::vector<BlockRun> runs;
        int64_t length = 0;  // gaps included
    };
    // Events of the recording, and which stream's samples they are counted by.
    struct EventFolder {
        std::string folder, streamName, name;
        bool isSpikes = false;
    };

    Stream StreamOf(const nlohmann::json& entry) const;
    void FindRuns(Stream& stream) const;
    std::filesystem::path FileOf(const char* kind, const std::string& folder, const char* name) const;
    const Stream& CountedBy(const EventFolder& events) const;
    void AddLines(ForeignRecording& recording, const EventFolder& events, const Stream& stream,
                  int64_t from) const;
    void AddMessages(ForeignRecording& recording, const EventFolder& events, const Stream& shown,
                     int64_t from) const;
    void AddSpikes(ForeignRecording& recording, const EventFolder& events, const Stream& stream,
                   int64_t from) const;
    void AddTime(ForeignRecording& recording) const;

    std::vector<Stream> list_;
    std::vector<EventFolder> events_;
    std::string missing_;  // streams without samples
    std::string version_;
};

}  // namespace kymora
