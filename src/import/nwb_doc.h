#pragma once
// Neurodata Without Borders, version 2 (.nwb, HDF5): each time series of the acquisition, of what was made of
// it, and of the stimulus is a stream. Units, intervals (trials, epochs) and annotations become event
// channels. What lies in other files is not followed. Layout: "NWB Format Specification" 2.x (nwb-schema).

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "import/block_times.h"
#include "import/hdf5_file.h"
#include "import/nwb_times.h"
#include "import/stream_doc.h"

namespace kymora {

class CNwbDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeNwb; }

  protected:
    const char* DetailsTitle() const override { return "NWB File Details"; }
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;

  private:
    struct Series {
        std::string path;
        std::string kind;  // its "neurodata_type"
        Hdf5Object group{};
        Hdf5Array data{};
        size_t timeSide = 0;
        int64_t count = 0, channels = 1;
        NwbTimes times{};
        std::string unit;
        std::vector<double> factors{};  // of each channel
        double offset = 0.0;
        std::vector<std::string> labels{};
    };
    // Where events of a series go: its times, and the events from `from` on.
    struct EventPlace;

    void Collect(const Hdf5Object& group, const std::string& path, int depth);
    void TakeSeries(Hdf5Object group, const std::string& path, const std::string& kind);
    void TakeTimes(Series& series);
    void TakeScale(Series& series);
    void TakeLabels(Series& series);
    NwbTimes TimesOf(const Hdf5Object& timestamps);
    void TakeEventsOnly();
    std::vector<double> NumbersAt(const Hdf5Object& from, const char* path, uint64_t most);
    std::string TextAt(const Hdf5Object& from, const char* path);
    std::string AttributeText(const Hdf5Object& object, const char* name);
    double AttributeNumber(const Hdf5Object& object, const char* name, double otherwise);
    void AddTraces(ForeignRecording& recording, const Series& series, const StreamChoice& choice);
    void AddIntervals(ForeignRecording& recording, EventPlace& place);
    void AddUnits(ForeignRecording& recording, EventPlace& place);
    void AddMarks(ForeignRecording& recording, EventPlace& place);
    void Describe(ForeignRecording& recording, const Series& series);

    std::unique_ptr<Hdf5File> hdf5_;
    std::vector<Series> series_;
    std::vector<Series> marks_;                // whose samples stand for events
    std::map<uint64_t, NwbTimes> knownTimes_;  // of arrays that several series share
    std::map<uint64_t, int> taken_;            // objects that were looked at
    std::vector<std::string> passedOver_;
};

}  // namespace kymora
