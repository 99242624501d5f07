#pragma once
// A recording of many channels, perhaps in several streams of different rates, of which some channels of one
// stream become traces. It opens without reading the samples.
//
// What the dialogs ask can be given as import settings: "stream" (its number from 1, or its name), "channels"
// (numbers from 1 over those of the stream), "from" (seconds: where the part of a longer recording begins)
// and "digital" ("events" or "none": whether the samples are searched for digital lines).

#include <memory>
#include <string>
#include <vector>

#include "document/side_car.h"
#include "import/foreign_doc.h"

namespace kymora {

struct StreamChannel {
    std::string label;
    std::string units;
};

struct DataStream {
    std::string name;
    double rate = 0.0;    // Hz, of the recording that it becomes
    int64_t samples = 0;  // at that rate; shown to the user
    std::vector<StreamChannel> channels{};
    int number = 0;             // in the file, from 1; 0: its place in the list
    uint64_t digitalBytes = 0;  // that a search for digital lines reads; 0: there are none in the samples
};

struct StreamChoice {
    size_t stream = 0;
    std::vector<int> channels;  // places in the stream's list
    int64_t from = 0;           // samples at the stream's rate; events count from here
    bool digital = false;       // to search the samples for digital lines
};

class CStreamDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    Reopening ToReopen() const override;

  protected:
    // What the headers tell; at least one stream. Throws OpenError or FileError.
    virtual std::vector<DataStream> ReadStreams(const DataFile& file) = 0;
    // The traces of the chosen channels in their order, whole, and the events from choice.from on. May put
    // another file in the place of sampleFile.
    virtual ForeignRecording ReadStream(const StreamChoice& choice) = 0;

    // The number of the first stream in the side-car: files that share one have numbers of their own.
    virtual int FirstStreamNumber() const { return 0; }

    ForeignRecording ReadRecording(const DataFile& file) final;
    SideCarResult ReadOwnSideCar() override;

    // Stops when the user cancels.
    bool GoesOn(std::unique_ptr<Progress>& progress, const char* what, uint64_t done, uint64_t all);

  private:
    // In the side-car, of the chosen stream.
    int StreamNumber() const;
    void Choose();
    size_t ChooseStream();
    std::vector<int> Remembered() const;
    bool IsDigitalWanted() const;
    void ChooseChannels();
    void Cut(ForeignRecording& recording) const;

    std::vector<DataStream> streams_;
    StreamChoice choice_;
    double fromSeconds_ = 0.0;
    SideCarOfChoice sideCar_;
};

// A file beside the one that is opened. Throws OpenError, which names it.
std::unique_ptr<DataFile> OpenBeside(FileSystem& files, const std::filesystem::path& path);
// Null where there is none.
std::unique_ptr<DataFile> FindBeside(FileSystem& files, const std::filesystem::path& path);
// All of a text file. Throws OpenError where it is longer than `most` bytes.
std::string ReadTextFile(const DataFile& file, const std::string& name, uint64_t most = 64 << 20);

}  // namespace kymora
