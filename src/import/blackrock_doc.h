#pragma once
// Blackrock recordings (.ns1 to .ns6, .ns9) of file versions 2.1 to 3.0, with the digital inputs,
// comments and sorted spikes of the .nev file of the same name. Layout: "NEV / NSX File Format" (LB-0023).

#include "import/block_times.h"
#include "import/clock_places.h"
#include "import/file_fields.h"
#include "import/stream_doc.h"

namespace kymora {

class CBlackrockDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeBlackrock; }

  protected:
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;
    const char* DetailsTitle() const override { return "Blackrock File Details"; }
    // The .ns1 to .ns9 of a recording have one side-car, and rates of their own.
    int FirstStreamNumber() const override;

  private:
    struct Channel {
        std::string label, units;
        ValueScale scale;
    };
    // Samples that lie together.
    struct Piece {
        int64_t position = 0, count = 0;
        uint64_t offset = 0;
    };
    void ReadOldHeader(const DataFile& file);
    void ReadHeader(const DataFile& file);
    void AddChannel(const FileFields& header, size_t at);
    void WalkBlocks(const DataFile& file);
    bool WalkEqualBlocks(const DataFile& file);
    void AddPiece(int64_t time, int64_t count, uint64_t offset);
    void AddEvents(ForeignRecording& recording, int64_t from) const;

    std::string version_, comment_;
    std::optional<double> clock_;
    std::optional<std::chrono::sys_days> date_;
    double rate_ = 0.0, resolution_ = 30000.0;
    std::vector<Channel> channels_;
    uint64_t dataAt_ = 0;
    int timeBytes_ = 4;
    std::vector<Piece> pieces_;
    uint64_t blockBytes_ = 0;  // where all blocks hold perBlock_ samples; else 0
    int64_t perBlock_ = 0;
    int64_t lastTime_ = 0;  // of the last piece
    ClockPlaces times_;     // in the file's resolution
    int64_t length_ = 0;
    std::vector<std::string> warnings_;
};

}  // namespace kymora
