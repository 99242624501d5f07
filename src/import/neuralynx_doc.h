#pragma once
// Neuralynx recordings: a .ncs file for each channel, of which all of one folder and rate open together, and
// the events of .nev files beside them. Layout: "Neuralynx Data File Formats".
//
// Import setting "polarity": "stored" (as the numbers are) or "input" (turned back where the header says that
// the recorder has turned it).

#include "import/block_times.h"
#include "import/clock_places.h"
#include "import/joined_files.h"
#include "import/stream_doc.h"

namespace kymora {

class CNeuralynxDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeNeuralynx; }
    Reopening ToReopen() const override;

  protected:
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;
    const char* DetailsTitle() const override { return "Neuralynx File Details"; }

  private:
    struct Channel {
        std::filesystem::path path;
        std::vector<Channel> next;  // files "name_0001.ncs" and on, whose records follow
        std::string name;
        double rate = 0.0;         // Hz, as its header has it
        double voltsPerBit = 0.0;  // 0: not stated
        bool isInverted = false;
        int64_t records = 0;
        int64_t firstTime = 0;  // us
        bool isCut = false;     // within its last record
        std::string created, fileVersion;
    };

    static Channel ReadChannel(const DataFile& file, const std::filesystem::path& path);
    void JoinSplitFiles();
    // All records behind one header; answers where that begins.
    uint64_t AddRecords(JoinedFiles& joined, const Channel& channel) const;
    bool IsTurnedBack();
    // Records of which all samples follow one another.
    struct Piece {
        int64_t record = 0, time = 0;       // of the first
        int64_t position = 0, samples = 0;  // from the channel's first sample on
        bool isSetBack = false;             // the clock, before it
    };

    double RefinedRate(const DataFile& file, const Channel& channel) const;
    std::vector<Piece> FindPieces(const DataFile& file, uint64_t start, int64_t records,
                                  bool looksAtAll) const;
    int64_t Late(const Channel& channel) const;
    ForeignTrace TraceOf(const DataFile& joined, uint64_t start, const Channel& channel,
                         bool looksAtAll) const;
    void AddEvents(ForeignRecording& recording, int64_t from) const;

    std::vector<Channel> list_;  // of the stream
    double rate_ = 0.0;          // Hz, true
    int64_t firstTime_ = 0;      // us, of the earliest channel
    ClockPlaces times_;          // of the opened file
    bool isTurnedBack_ = false;
};

}  // namespace kymora
