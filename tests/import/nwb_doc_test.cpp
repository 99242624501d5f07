// NWB files: series as streams, what becomes events, and files that cannot be or are damaged.

#include <array>

#include "import/nwb_samples.h"
#include "import/reader_fixture.h"

namespace kymora::test {
namespace {

class NwbTest : public ReaderTest {
  protected:
    std::unique_ptr<CDataDoc> Open(Hdf5Builder& file, const ImportSettings& settings = {}) {
        files.Put("/x.nwb", file.Bytes());
        host.Forget();
        request.settings = settings;
        return Reopen("/x.nwb");
    }
    // "label (comment): on-off=value label ..." of each channel with events.
    static std::vector<std::string> Events(const CDataDoc& doc) {
        std::vector<std::string> all;
        for (const CEventChan& channel : doc.eventChannels) {
            if (channel.GetNumEvents() == 0) continue;
            std::string text = fmt::format("{} ({}):", channel.channelLabel, channel.channelComment);
            for (const CEventKM& e : channel.Events())
                text += fmt::format(" {}-{}={}{}", e.onPosition, e.offPosition, e.eventValue,
                                    e.eventLabel.View());
            all.push_back(text);
        }
        return all;
    }
};

// Two series at 1 kHz from 10 s on; the second with the channels first, in numbers without a type of their
// own.
void WriteSession(Hdf5Builder& file) {
    NwbHead(file);
    std::vector<int16_t> one(100);
    std::vector<uint32_t> two(600);
    for (size_t i = 0; i < one.size(); ++i) one[i] = static_cast<int16_t>(i);
    for (size_t i = 0; i < two.size(); ++i) two[i] = static_cast<uint32_t>(3000000000u + i * 65536);
    file.Array("acquisition/pressure/data", one);
    NwbSeries(file, "acquisition/pressure", "TimeSeries", "mmHg", 0.5);
    NwbRate(file, "acquisition/pressure", 10.0, 1000.0);
    file.Array("processing/ecephys/LFP/lfp/data", two, {3, 200}, {{2, 64}, true});
    NwbSeries(file, "processing/ecephys/LFP/lfp", "ElectricalSeries", "volts", 1e-9);
    NwbRate(file, "processing/ecephys/LFP/lfp", 10.0, 1000.0);
    file.Array<int16_t>("processing/ecephys/LFP/lfp/electrodes", {2, 0, 1});
    const std::string electrodes = "general/extracellular_ephys/electrodes";
    file.Array<int16_t>(electrodes + "/id", {7, 8, 9});
    file.Texts(electrodes + "/label", {"deep", "", "top"});
    file.Array<double>("units/spike_times", {10.01, 10.0504, 10.02, 10.0996});
    file.Array<uint32_t>("units/spike_times_index", {2, 4});
    file.Array<int16_t>("units/id", {5, 11});
    file.Texts("units/quality", {"good", "noise"});
    file.Attribute("units", "colnames", std::vector<const char*>{"spike_times", "quality"});
    file.Array<double>("intervals/trials/start_time", {10.0, 10.05, 99.0});
    file.Array<double>("intervals/trials/stop_time", {10.04, 10.07, 100.0});
    file.Texts("intervals/trials/kind", {"go", "stop", "late"});
    file.Attribute("intervals/trials", "colnames",
                   std::vector<const char*>{"start_time", "stop_time", "kind"});
    file.Attribute("stimulus/presentation/notes", "neurodata_type", "AnnotationSeries");
    file.Texts("stimulus/presentation/notes/data", {"drug"});
    file.Array<double>("stimulus/presentation/notes/timestamps", {10.03});
    file.Array<double>("acquisition/licks/data", {1.5, 2.5, 3.5, 4.5, 5.5});
    NwbSeries(file, "acquisition/licks", "TimeSeries", "n.a.", 2.0);
    file.Array<double>("acquisition/licks/timestamps", {10.001, 10.002, 10.009, 10.03, 10.09});
}

TEST_F(NwbTest, SeriesAreStreamsAndTablesAreEvents) {
    Hdf5Builder file;
    WriteSession(file);
    auto doc = Open(file, {{"stream", "acquisition/pressure"}});
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(host.LastMessage(),
              "2 events of the file lie before or behind acquisition/pressure and are left out.");
    EXPECT_EQ(doc->traces[0].traceLabel, "pressure");
    EXPECT_EQ(doc->traces[0].traceUnits, "mmHg");
    EXPECT_EQ(All(*doc, 0)[50], 25.0f);
    EXPECT_EQ(doc->GetStartClock(), (3 * 3600 + 25 * 60 + 17.25) * 1000.0);
    EXPECT_EQ(Events(*doc),
              (std::vector<std::string>{"trials (): 0-40=0go 50-70=0stop",
                                        "licks (): 1-2=3 2-3=5 9-10=7 30-31=9 90-91=11",
                                        "notes (): 30-31=0drug", "unit 5 (quality: good): 10-11=0 50-51=0",
                                        "unit 11 (quality: noise): 20-21=0"}))
        << "the last spike is nearest to the sample behind the end";
    EXPECT_NE(doc->fileComment.find("Session: slice 3\r\n"), std::string::npos) << doc->fileComment;
    EXPECT_NE(doc->fileComment.find("Subject, species: Locusta migratoria\r\n"), std::string::npos);

    doc = Open(file, {{"stream", "2"}, {"channels", "1,3"}, {"from", "0.02"}});
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->traces[0].traceLabel, "top");
    EXPECT_EQ(doc->traces[1].traceLabel, "electrode 8");
    EXPECT_EQ(doc->traces[0].traceUnits, "nV");
    EXPECT_EQ(doc->GetLength(), 180);
    EXPECT_EQ(All(*doc, 1)[7], static_cast<float>(3000000000.0 + 427 * 65536));
    EXPECT_EQ(doc->GetOn(0, 0), 0) << "a trial that began before";
    EXPECT_EQ(doc->GetOff(0, 0), 20);
}

TEST_F(NwbTest, WhatIsNoRecordingIsRefusedWithTheReason) {
    const auto refusal = [&](const std::function<void(Hdf5Builder&)>& write,
                             const ImportSettings& settings = {}) {
        Hdf5Builder file;
        write(file);
        EXPECT_FALSE(Open(file, settings));
        return host.LastMessage();
    };
    const std::vector<int16_t> few(20);
    EXPECT_EQ(refusal([](Hdf5Builder& file) { file.Text("x", "y"); }),
              "This HDF5 file is no NWB file: it does not state \"nwb_version\".");
    EXPECT_TRUE(refusal([](Hdf5Builder& file) {
                    file.Text("nwb_version", "NWB-1.0.6");
                }).starts_with("This NWB file is of version 1"));
    EXPECT_TRUE(
        refusal([](Hdf5Builder& file) { NwbHead(file); }).starts_with("This NWB file holds no time series"));
    // Another file is never followed.
    const std::string outside = refusal([](Hdf5Builder& file) {
        NwbHead(file);
        file.Attribute("acquisition/s", "neurodata_type", "TimeSeries");
        H5Lcreate_external("/etc/passwd", "/x", file.File(), "acquisition/other", H5P_DEFAULT, H5P_DEFAULT);
    });
    EXPECT_NE(outside.find("acquisition/other (in another file)"), std::string::npos) << outside;
    // A terabyte that is not there takes neither memory nor time.
    EXPECT_EQ(refusal([&](Hdf5Builder& file) {
                  NwbHead(file);
                  const hsize_t sizes[] = {hsize_t{1} << 40}, chunk[] = {1 << 10};
                  const hid_t made = H5Pcreate(H5P_DATASET_CREATE),
                              space = H5Screate_simple(1, sizes, nullptr);
                  H5Pset_chunk(made, 1, chunk);
                  file.Attribute("acquisition/s", "neurodata_type", "TimeSeries");
                  H5Dclose(H5Dcreate2(file.File(), "acquisition/s/data", H5T_STD_I8LE, space, H5P_DEFAULT,
                                      made, H5P_DEFAULT));
                  H5Sclose(space), H5Pclose(made);
                  NwbRate(file, "acquisition/s", 0.0, 1000.0);
              }),
              "acquisition/s holds no samples.");
    // 200 MB of zeros in a few kilobytes.
    EXPECT_NE(refusal([](Hdf5Builder& file) {
                  NwbHead(file);
                  const std::vector<int8_t> zeros(200000000);
                  file.Array("acquisition/s/data", zeros, {}, {{zeros.size()}, true});
                  NwbRate(file, "acquisition/s", 0.0, 1000.0);
              }).find("far larger than the file itself"),
              std::string::npos);
}

// What a file that still grows has not written yet, or has lost, is no part of the recording.
TEST_F(NwbTest, SamplesBehindTheLastWrittenOnesAreLeftOut) {
    Hdf5Builder file(true);
    NwbHead(file);
    const std::vector<int16_t> words = Words(1000, 4);
    file.Array("acquisition/s/data", words, {}, {{100}, false, {H5S_UNLIMITED}});
    const hid_t set = H5Dopen2(file.File(), "acquisition/s/data", H5P_DEFAULT);
    const hsize_t longer = 5000;
    H5Dset_extent(set, &longer);
    H5Dclose(set);
    NwbRate(file, "acquisition/s", 0.0, 1000.0);
    const auto doc = Open(file);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->GetLength(), 1000);
    EXPECT_EQ(All(*doc, 0), std::vector<float>(words.begin(), words.end()));
}

}  // namespace
}  // namespace kymora::test
