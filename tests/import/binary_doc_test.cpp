// Raw binary files: samples of all types, what is asked, and what is refused.

#include "host/form.h"
#include "import/binary_doc.h"

#include <gtest/gtest.h>

#include <cstring>

#include "host/disk_file_system.h"
#include "host/memory_file_system.h"
#include "import/open_document.h"
#include "support/fold_check.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

class BinaryDocTest : public ::testing::Test {
  protected:
    static std::vector<std::byte> Raw(std::initializer_list<int> bytes) {
        std::vector<std::byte> raw;
        for (const int byte : bytes) raw.push_back(static_cast<std::byte>(byte));
        return raw;
    }
    template <typename T>
    static std::vector<std::byte> Numbers(const std::vector<T>& numbers) {
        std::vector<std::byte> raw(numbers.size() * sizeof(T));
        std::memcpy(raw.data(), numbers.data(), raw.size());
        return raw;
    }
    std::unique_ptr<CDataDoc> Open(const std::vector<std::byte>& bytes, int traces, const std::string& type,
                                   const std::string& interval = "0.5") {
        files.Put("/x.bin", bytes);
        session.importSettings = {
            {"binaryTraces", std::to_string(traces)}, {"binaryInterval", interval}, {"binaryType", type}};
        return OpenDocument(session, "/x.bin");
    }
    // Opens with these settings only.
    std::unique_ptr<CDataDoc> OpenWith(std::map<std::string, std::string> settings) {
        session.importSettings = std::move(settings);
        session.importSettingRefused = false;
        return OpenDocument(session, "/x.bin");
    }
    static std::vector<float> All(CDataDoc& doc, int trace) {
        std::vector<float> values(static_cast<size_t>(doc.GetLength()));
        doc.ReadBlock(trace, 0, values);
        return values;
    }

    // Random numbers of a type, read in random stretches of random traces.
    template <typename T>
    void ExpectAllLayouts(const char* type) {
        std::mt19937 random(5);
        for (int traces = 1; traces <= maxBinaryTraces; ++traces) {
            const size_t rows = traces % 5 == 0 ? 40000 : 700;
            std::vector<T> numbers(rows * static_cast<size_t>(traces));
            for (T& number : numbers) {
                number = static_cast<T>(static_cast<int32_t>(random()));
                if constexpr (!std::is_integral_v<T>) number = static_cast<T>(number * 1e-5);
            }
            const auto doc = Open(Numbers(numbers), traces, type);
            ASSERT_TRUE(doc);
            ASSERT_EQ(doc->GetLength(), static_cast<int64_t>(rows));
            for (int round = 0; round < 12; ++round) ExpectStretch(*doc, numbers, random);
        }
    }
    template <typename T>
    static void ExpectStretch(CDataDoc& doc, const std::vector<T>& numbers, std::mt19937& random) {
        const auto traces = static_cast<uint32_t>(doc.traceCount);
        const int64_t from = random() % doc.GetLength();
        const auto count = static_cast<size_t>(1 + random() % (doc.GetLength() - from));
        const size_t wanted = 1 + random() % (traces + 1);  // one more: a trace comes twice
        std::vector<std::vector<float>> values(wanted, std::vector<float>(count, -77.0f));
        std::vector<TraceBlock> blocks;
        for (auto& trace : values) blocks.push_back({static_cast<int>(random() % traces), trace, {}});
        doc.ReadBlocks(from, blocks);
        for (const TraceBlock& block : blocks)
            for (size_t i = 0; i < count; ++i)
                ASSERT_EQ(
                    block.values[i],
                    static_cast<float>(
                        numbers[(static_cast<size_t>(from) + i) * traces + static_cast<size_t>(block.trace)]))
                    << traces << " traces, trace " << block.trace << " from " << from << " at " << i;
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
};

TEST_F(BinaryDocTest, ASmallFileByHand) {
    const auto doc = Open(Raw({1, 0, 0xFF, 0xFF, 0x02, 0x01, 0x00, 0x80}), 2, "0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetFileType(), 9);
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->sampleInterval, 0.5);
    EXPECT_EQ(doc->traces[0].traceAutoscale, 1);
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1);
    EXPECT_EQ(doc->traces[2].traceAutoscale, 0);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{1, 258}));
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{-1, -32768}));
    doc->traces[1].traceGain = -4.0;
    EXPECT_EQ(All(*doc, 1), (std::vector<float>{0.25f, 8192}));
    EXPECT_EQ(doc->ReadNext(0), 1);
    EXPECT_EQ(doc->FileBuffer(0)[2], 0.0f) << "past the end";
    EXPECT_TRUE(host.WasSilent());
}

TEST_F(BinaryDocTest, EveryTypeAndNumberOfTraces) {
    ExpectAllLayouts<int16_t>("INT16");
    ExpectAllLayouts<int32_t>("4-byte (Long) signed integer");
    ExpectAllLayouts<float>("float");
    ExpectAllLayouts<double>("3");
}

TEST_F(BinaryDocTest, WhatIsNoNumberStaysSo) {
    const auto doc = Open(Numbers<double>({NAN, 1e300, -1e300, 1e-300}), 1, "double");
    const auto values = All(*doc, 0);
    EXPECT_TRUE(std::isnan(values[0]));
    EXPECT_EQ(values[1], INFINITY);
    EXPECT_EQ(values[2], -INFINITY);
    EXPECT_EQ(values[3], 0.0f);
    EXPECT_FALSE(doc->FoldBlocks(0, 4, {0, 4}, {}));
}

TEST_F(BinaryDocTest, FoldsOfIntegersAreThoseOfTheValues) {
    std::mt19937 random(8);
    for (const int traces : {1, 3, 16}) {
        std::vector<int32_t> numbers(static_cast<size_t>(traces) * 9000);
        for (int32_t& number : numbers) number = static_cast<int32_t>(random());
        for (const char* type : {"int16", "int32"}) {
            const auto doc = Open(Numbers(numbers), traces, type);
            ExpectFolds(*doc, 40);
            doc->traces[0].traceGain = -0.3;
            ExpectFolds(*doc, 5);
            const auto values = All(*doc, 0);
            float low[3] = {FLT_MAX, FLT_MAX, FLT_MAX}, high[3] = {-FLT_MAX, -FLT_MAX, -FLT_MAX};
            uint8_t active[3] = {};
            const int64_t starts[] = {2, 60, 8000};
            std::vector<FoldStretch> stretches;
            for (size_t i = 0; i < 3; ++i)
                stretches.push_back({starts[i], 50, &low[i], &high[i], &active[i]});
            ASSERT_TRUE(doc->FoldStretches(0, stretches));
            for (size_t i = 0; i < 3; ++i) {
                const auto [least, most] =
                    std::minmax_element(values.begin() + starts[i], values.begin() + starts[i] + 50);
                EXPECT_EQ(low[i], *least);
                EXPECT_EQ(high[i], *most);
                EXPECT_EQ(active[i], 1);
            }
        }
    }
}

TEST_F(BinaryDocTest, ARemainderIsToldAndLeftOut) {
    constexpr const char* text =
        "It seems that not all channels contain the same number of samples. Discarding remainder.";
    const auto doc = Open(Raw({1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 6}), 2, "0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetLength(), 2);
    EXPECT_EQ(host.LastMessage(), text);
    host.Forget();
    BatchDocuments batch(session, [] { return std::vector<CDataDoc*>(); });
    ASSERT_TRUE(batch.OpenForBatch("/x.bin"));
    EXPECT_TRUE(host.WasSilent());
    EXPECT_NE(host.LogText().find(text), std::string::npos);
}

TEST_F(BinaryDocTest, BadSettingsAreRefused) {
    files.Put("/x.bin", std::vector<std::byte>(64));
    const std::pair<const char*, const char*> bad[] = {
        {"binaryTraces", "0"},      {"binaryTraces", "17"},
        {"traces", "2.5"},          {"traces", ""},
        {"binaryInterval", "0"},    {"sampleInterval", "-1"},
        {"sampleInterval", "nan"},  {"binaryInterval", "2e10"},
        {"binaryInterval", "1e-9"}, {"binaryInterval", "1 ms"},
        {"binaryType", "4"},        {"binaryType", "long double"},
    };
    for (const auto& [key, value] : bad) {
        EXPECT_FALSE(OpenWith({{key, value}})) << key << " " << value;
        EXPECT_TRUE(session.importSettingRefused);
        EXPECT_TRUE(host.LastMessage().starts_with(std::string("The import setting \"") + key + "\" is \"" +
                                                   value + "\". It takes "))
            << host.LastMessage();
    }
    EXPECT_EQ(host.LastMessage(),
              "The import setting \"binaryType\" is \"long double\". It takes 0 or int16, 1 or "
              "int32, 2 or float, 3 or double.");
    const auto doc = OpenWith({{"traces", "4"}, {"sampleInterval", "1e-8"}});
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetLength(), 8);
    EXPECT_EQ(doc->sampleInterval, 1e-8);
    EXPECT_EQ(OpenWith({{"traces", "4"}, {"binaryTraces", "2"}})->traceCount, 2);
}

TEST_F(BinaryDocTest, FilesWithoutASampleAreRefused) {
    files.Put("/x.bin", {});
    EXPECT_FALSE(OpenWith({}));
    EXPECT_EQ(host.LastMessage(), "x.bin is empty.");
    files.Put("/x.bin", std::vector<std::byte>(15));
    EXPECT_FALSE(OpenWith({{"binaryTraces", "2"}, {"binaryType", "3"}}));
    EXPECT_EQ(host.LastMessage(), "x.bin holds 15 bytes. One sample of each of 2 traces takes 16.");
    EXPECT_FALSE(session.importSettingRefused);
    EXPECT_FALSE(OpenDocument(session, "/gone.bin"));
    EXPECT_TRUE(host.LastMessage().starts_with("Couldn't open file\n"));
    CBinaryDoc other(session);
    EXPECT_FALSE(other.OnOpenDocument("/x.dat"));
    EXPECT_EQ(host.LastMessage(), "You must select a .bin file");
}

TEST_F(BinaryDocTest, TheDialogShowsTheDataAndItsAnswersAreKept) {
    session.askForDetails = true;
    files.Put("/x.bin", Numbers<int16_t>({1, -2, 3, -4, 5, -6, 7}));
    host.fillForms = {[](Form& form) {
        EXPECT_EQ(form["rows"].choices.size(), 2u);
        EXPECT_EQ(form["rows"].rows.size(), 7u);
        EXPECT_EQ(form["binaryType"].choices[1], "4-byte (long) signed integer");
        form["binaryTraces"].number = 2;
        form["binaryInterval"].number = 0.25;
        form.onChange(form);
        EXPECT_EQ(form["rows"].rows, (std::vector<std::vector<std::string>>{
                                         {"1", "1", "-2"}, {"2", "3", "-4"}, {"3", "5", "-6"}}));
        EXPECT_EQ(form["extent"].text, "3 samples each, 0.75 ms; a remainder of 2 B is left out");
        form["binaryType"].choice = 3;
        EXPECT_EQ(form.validate(form), "The file holds 14 bytes. One sample of each trace takes 16.");
        form["binaryType"].choice = 0;
        return true;
    }};
    auto doc = OpenWith({});
    ASSERT_TRUE(doc) << host.formFault;
    EXPECT_EQ(host.forms.back(), "Binary File Properties");
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->sampleInterval, 0.25);

    // The next file is asked about again, and begins with these answers.
    host.fillForms = {[](Form& form) {
        EXPECT_EQ(form.Integer("binaryTraces"), 2);
        form["binaryTraces"].number = 7;
        form["binaryUseDefault"].flag = true;
        return true;
    }};
    doc = OpenWith({{"binaryInterval", "2"}});
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->sampleInterval, 2);
    EXPECT_EQ(session.binaryFile.binaryInterval, 0.25) << "a given setting is no default";
    const size_t asked = host.forms.size();
    doc = OpenWith({});
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 7);
    EXPECT_EQ(host.forms.size(), asked);

    host.fillForms = {[](Form& form) {
        form["binaryUseDefault"].flag = false;
        return true;
    }};
    EXPECT_TRUE(SetBinaryDefaults(session));
    EXPECT_FALSE(OpenWith({})) << "cancelled";
    EXPECT_EQ(host.forms.size(), asked + 2);
    EXPECT_TRUE(OpenWith({{"traces", "1"}, {"sampleInterval", "1"}, {"binaryType", "int16"}}));
    EXPECT_EQ(host.forms.size(), asked + 2) << "all is given";
}

TEST_F(BinaryDocTest, ACopyOpensAsTheUserSeesTheFile) {
    session.askForDetails = true;
    files.Put("/x.bin", Numbers<int32_t>({1, 2, 3, 4, 5, 6}));
    host.fillForms = {[](Form& form) {
        form["binaryTraces"].number = 3;
        form["binaryInterval"].number = 0.1;
        form["binaryType"].choice = 1;
        return true;
    }};
    const auto doc = OpenWith({{"traces", "3"}});
    ASSERT_TRUE(doc);
    session.binaryFile = {};
    host.Forget();
    BatchDocuments batch(session, [&] { return std::vector<CDataDoc*>{doc.get()}; });
    CDataDoc* copy = batch.OpenCopyForBatch("/x.bin");
    ASSERT_TRUE(copy);
    EXPECT_EQ(copy->sampleInterval, 0.1);
    EXPECT_EQ(All(*copy, 2), (std::vector<float>{3, 6}));
    EXPECT_EQ(session.importSettings.size(), 1u);
    EXPECT_TRUE(host.messages.empty());
    session.askForDetails = false;
    EXPECT_EQ(OpenWith({})->traceCount, 1);
    EXPECT_TRUE(host.LastMessage().starts_with("x.bin is read as 1 trace(s) of the type \"2-byte (short) "
                                               "signed integer\", 1 ms from sample to sample."))
        << host.LastMessage();
}

TEST_F(BinaryDocTest, TheSideCarBringsBackWhatTheUserAdded) {
    auto doc = Open(Numbers<int16_t>({1, 2, 3, 4, 5, 6}), 1, "0");
    doc->traces[0].traceLabel = "mine";
    doc->traces[0].traceGain = 2.0;
    doc->traces[0].axisTop = 9.0;
    doc->traces[0].traceAutoscale = 0;
    doc->AddEvent(2, {.onPosition = 1, .offPosition = 3});
    ASSERT_TRUE(doc->OnSaveDocument());
    doc = Open(files.Bytes("/x.bin"), 2, "0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceLabel, "mine");
    EXPECT_EQ(doc->traces[0].traceAutoscale, 0);
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1) << "it was never scaled";
    EXPECT_EQ(doc->GetNumEvents(2), 1);
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{0.5f, 1.5f, 2.5f}));
    files.Put("/x.kymr-hdr", std::vector<std::byte>(10));
    doc = OpenWith(session.importSettings);
    ASSERT_TRUE(doc) << "without the damaged side-car";
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->traces[0].traceAutoscale, 1);
}

// A file without content takes no room on the disk.
TEST(BinaryLength, MoreSamplesThanPositionsAreLeftOut) {
    const auto path = std::filesystem::temp_directory_path() / "kymora-long-test.bin";
    DiskFileSystem disk;
    std::error_code ignored;
    std::filesystem::remove(path, ignored);
    disk.Open(path, OpenMode::createNew)->Truncate(2 * uint64_t{0x80000010});
    TestHost host;
    Session session(host, disk);
    session.importSettings["binaryTraces"] = "1";
    const auto doc = OpenDocument(session, path, OpenFor::reading);
    std::filesystem::remove(path);
    ASSERT_TRUE(doc);
    EXPECT_EQ(host.LastMessage(), tooLongText);
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(doc->GetLength(), longestRecording);
    float last = 1.0f;
    doc->ReadBlock(0, longestRecording - 1, {&last, 1});
    EXPECT_EQ(last, 0.0f);
}

}  // namespace
}  // namespace kymora::test
