// Raw binary files: samples of all types, what is asked, and what is refused.

#include "host/form.h"
#include "import/binary_doc.h"

#include <gtest/gtest.h>

#include <cstring>

#include "host/disk_file_system.h"
#include "import/reader_fixture.h"

namespace kymora::test {
namespace {

class BinaryDocTest : public ReaderTest {
  protected:
    template <typename T>
    static std::vector<std::byte> Numbers(const std::vector<T>& numbers) {
        std::vector<std::byte> raw(numbers.size() * sizeof(T));
        std::memcpy(raw.data(), numbers.data(), raw.size());
        return raw;
    }
    std::unique_ptr<CDataDoc> Open(const std::vector<std::byte>& bytes, int traces, const std::string& type,
                                   const std::string& interval = "0.5") {
        files.Put("/x.bin", bytes);
        request.settings = {
            {"binaryTraces", std::to_string(traces)}, {"binaryInterval", interval}, {"binaryType", type}};
        return Reopen("/x.bin");
    }
    // Opens with these settings only.
    std::unique_ptr<CDataDoc> OpenWith(ImportSettings settings) {
        request.settings = std::move(settings);
        return Reopen("/x.bin");
    }
};

TEST_F(BinaryDocTest, WhatIsNoNumberStaysSo) {
    const auto doc = Open(Numbers<double>({NAN, 1e300, -1e300, 1e-300}), 1, "double");
    const auto values = All(*doc, 0);
    EXPECT_TRUE(std::isnan(values[0]));
    EXPECT_EQ(values[1], INFINITY);
    EXPECT_EQ(values[2], -INFINITY);
    EXPECT_EQ(values[3], 0.0f);
    EXPECT_FALSE(doc->FoldBlocks(0, 4, {0, 4}, {}));
}

TEST_F(BinaryDocTest, ARemainderIsToldAndLeftOut) {
    constexpr const char* text =
        "It seems that not all channels contain the same number of samples. Discarding remainder.";
    const auto doc = Open(std::vector<std::byte>(11), 2, "0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetLength(), 2);
    EXPECT_EQ(host.LastMessage(), text);
    host.Forget();
    BatchDocuments batch(session, [] { return std::vector<CDataDoc*>(); });
    ASSERT_TRUE(batch.OpenForBatch("/x.bin"));
    EXPECT_NE(host.LogText().find(text), std::string::npos);
}

TEST_F(BinaryDocTest, SettingsHaveShortNamesToo) {
    files.Put("/x.bin", std::vector<std::byte>(64));
    const auto doc = OpenWith({{"traces", "4"}, {"sampleInterval", "1e-8"}});
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetLength(), 8);
    EXPECT_EQ(doc->sampleInterval, 1e-8);
    EXPECT_EQ(OpenWith({{"traces", "4"}, {"binaryTraces", "2"}})->traceCount, 2);
    for (const auto& [name, length] : std::map<const char*, int64_t>{
             {"INT16", 32}, {"1", 16}, {"4-byte (Long) signed integer", 16}, {"float", 16}, {"3", 8}})
        EXPECT_EQ(OpenWith({{"binaryType", name}})->GetLength(), length) << name;
}

TEST_F(BinaryDocTest, FilesWithoutASampleAreRefused) {
    files.Put("/x.bin", {});
    EXPECT_FALSE(OpenWith({}));
    EXPECT_EQ(host.LastMessage(), "x.bin is empty.");
    files.Put("/x.bin", std::vector<std::byte>(15));
    EXPECT_FALSE(OpenWith({{"binaryTraces", "2"}, {"binaryType", "3"}}));
    EXPECT_EQ(host.LastMessage(), "x.bin holds 15 bytes. One sample of each of 2 traces takes 16.");
    CBinaryDoc other(session);
    EXPECT_FALSE(other.OnOpenDocument("/x.dat"));
    EXPECT_EQ(host.LastMessage(), "You must select a .bin file");
}

TEST_F(BinaryDocTest, TheDialogShowsTheDataAndItsAnswersAreKept) {
    request.talk = OpenTalk::asks;
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
    request.talk = OpenTalk::asks;
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
    EXPECT_EQ(request.settings.size(), 1u);
    EXPECT_TRUE(host.messages.empty());
    request.talk = OpenTalk::tells;
    EXPECT_EQ(OpenWith({})->traceCount, 1);
    EXPECT_TRUE(host.LastMessage().starts_with("x.bin is read as 1 trace(s) of the type \"2-byte (short) "
                                               "signed integer\", 1 ms from sample to sample."))
        << host.LastMessage();
}

TEST_F(BinaryDocTest, TracesThatASideCarDoesNotKnowScaleThemselves) {
    auto doc = Open(Numbers<int16_t>({1, 2, 3, 4, 5, 6}), 1, "0");
    EXPECT_EQ(doc->traces[0].traceAutoscale, 1);
    EXPECT_EQ(doc->traces[1].traceAutoscale, 0) << "there is none";
    doc->traces[0].traceAutoscale = 0;
    doc->traces[0].axisTop = 9.0;
    ASSERT_TRUE(doc->OnSaveDocument());
    doc = Open(files.Bytes("/x.bin"), 2, "0");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceAutoscale, 0);
    EXPECT_EQ(doc->traces[1].traceAutoscale, 1) << "it was never scaled";
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
    const auto doc =
        OpenDocument(session, path, {OpenFor::reading, OpenTalk::tells, {{"binaryTraces", "1"}}});
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
