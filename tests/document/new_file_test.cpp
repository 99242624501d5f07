#include "document/new_file.h"
#include "host/form.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

class NewFileTest : public ::testing::Test {
  protected:
    void SetUp() override {
        session.now = [] { return std::time_t{1000000000}; };
        host.saveFile = "/new.kymr-dat";
    }
    std::unique_ptr<CFloatDoc> Reopen(const std::filesystem::path& path = "/new.kymr-dat") {
        auto doc = std::make_unique<CFloatDoc>(session);
        return doc->OnOpenDocument(path, OpenFor::reading) ? std::move(doc) : nullptr;
    }
    static std::vector<float> Samples(CDataDoc& doc, int trace = 0) {
        std::vector<float> values(static_cast<size_t>(doc.GetLength()));
        doc.ReadBlock(trace, 0, values);
        return values;
    }
    void Fill(std::function<bool(Form&)> fill) { host.fillForms.push_back(std::move(fill)); }

    // An open recording of two traces whose samples are offset + index, and ten times that.
    std::unique_ptr<MemoryDoc> Recording(const char* name, float offset, int64_t length = 5,
                                         double interval = 0.5) {
        std::vector<float> a, b;
        for (int64_t i = 0; i < length; ++i) {
            a.push_back(offset + static_cast<float>(i));
            b.push_back(10.0f * a.back());
        }
        auto doc = MemoryDoc::Make(session, {a, b}, interval);
        doc->filePath = name;
        doc->traces[1].traceLabel = "soma";
        doc->traces[1].axisLabel = "Vm";
        doc->traces[1].traceUnits = "mV";
        return doc;
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
};

// --- from an equation ---

TEST_F(NewFileTest, AnEquationBecomesARecording) {
    Fill([](Form& form) {
        EXPECT_EQ(form.title, "New File");
        form["sampleInterval"].number = 0.25;
        form["samples"].number = 40000;
        form["equation"].text = "3*t - 1";
        form["comment"].text = "made here";
        return true;
    });
    ASSERT_EQ(NewUserDefinedFile(session, {}), "/new.kymr-dat") << host.LastMessage();
    EXPECT_EQ(host.fileRequests.back().title, "New file name");
    EXPECT_EQ(host.fileRequests.back().filter, "Kymora (*.kymr-dat)|*.kymr-dat||");
    auto doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->sampleInterval, 0.25);
    EXPECT_EQ(doc->traceCount, 1);
    EXPECT_EQ(doc->traces[0].traceLabel, "3*t - 1; ");
    EXPECT_EQ(doc->traces[0].axisLabel, "Ax 1");
    EXPECT_EQ(doc->traces[0].traceAutoscale, 1);
    EXPECT_EQ(doc->view.viewEnd, 39999 * 0.25);
    EXPECT_EQ(doc->fileComment, "made here");
    EXPECT_TRUE(doc->historyLog.starts_with("START\r\n"));
    EXPECT_TRUE(doc->historyLog.ends_with("\r\nFile: New: User defined\r\n\r\n"));
    const auto samples = Samples(*doc);
    ASSERT_EQ(samples.size(), 40000u);
    for (size_t i = 0; i < samples.size(); i += 1111)
        EXPECT_EQ(samples[i], static_cast<float>(3.0 * (static_cast<double>(i) * 0.25) - 1.0));
    EXPECT_EQ(doc->traces[0].axisBottom, -1.0);
    EXPECT_EQ(doc->traces[0].axisTop, 3.0 * 39999 * 0.25 - 1.0);
}

TEST_F(NewFileTest, AxesOfConstantsAndOfNothingFinite) {
    const auto limits = [&](const char* equation) {
        WriteUserDefinedFile(session, {1.0, 10, equation, "", false}, "/limits.kymr-dat");
        auto doc = Reopen("/limits.kymr-dat");
        return std::pair(doc->traces[0].axisBottom, doc->traces[0].axisTop);
    };
    EXPECT_EQ(limits("20"), std::pair(19.0, 21.0));  // a twentieth of the value to each side
    EXPECT_EQ(limits("-20"), std::pair(-21.0, -19.0));
    EXPECT_EQ(limits("0"), std::pair(-0.1, 0.1));
    EXPECT_EQ(limits("0/0"), std::pair(-1000.0, 1000.0));
    EXPECT_EQ(limits("t > 3 ? 1/0 : t"), std::pair(0.0, 3.0));
}

TEST_F(NewFileTest, SamplesWithoutANumberAreTold) {
    WriteUserDefinedFile(session, {2.0, 10, "sin(x)/t", "", false}, "/sinc.kymr-dat");
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_NE(host.LastMessage().find("at 1 of 10 samples, first at 0 ms"), std::string::npos);
    const auto samples = Samples(*Reopen("/sinc.kymr-dat"));
    EXPECT_TRUE(std::isnan(samples[0])) << "they are written as they are";
    EXPECT_EQ(samples[1], static_cast<float>(std::sin(2.0) / 2.0));
    host.Forget();
    WriteUserDefinedFile(session, {1.0, 10, "1/t", "", false}, "/inf.kymr-dat");
    EXPECT_TRUE(host.WasSilent()) << "an infinite value is a value";
}

TEST_F(NewFileTest, AnInterruptedSaveOfTheReplacedFileDoesNotReachTheNewOne) {
    files.Put("/new.kymr-dat", std::vector<std::byte>(50));
    files.Put(JournalPath(files, "/new.kymr-dat"), std::vector<std::byte>(50));
    Fill([](Form&) { return true; });
    ASSERT_TRUE(NewUserDefinedFile(session, {}));
    EXPECT_EQ(files.Count(), 1u);
}

TEST_F(NewFileTest, DummyDataHaveALengthAndNoSamples) {
    Fill([](Form& form) {
        form["samples"].number = 2147483647;
        form["equation"].text = "not an equation";
        form["dummyData"].flag = true;
        EXPECT_FALSE(form["equation"].enabled(form));
        return true;
    });
    ASSERT_TRUE(NewUserDefinedFile(session, {})) << host.formFault;
    auto doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_TRUE(doc->noData);
    EXPECT_EQ(doc->GetLength(), 2147483647);
    EXPECT_EQ(doc->GetNumRuns(0), 2);
    EXPECT_EQ(doc->GetStoredCount(0), 0);
    EXPECT_LT(files.Bytes("/new.kymr-dat").size(), 200000u);
}

TEST_F(NewFileTest, BadSettingsAreRefusedAndNothingIsWritten) {
    const auto fault = [&](const char* key, double number) {
        Fill([=](Form& form) {
            form[key].number = number;
            return true;
        });
        EXPECT_FALSE(NewUserDefinedFile(session, {}));
        return host.formFault;
    };
    for (const double interval : {0.0, 0.99e-7, 1.01e7, -1.0, std::nan("")})
        EXPECT_NE(fault("sampleInterval", interval), "") << interval;
    for (const double samples : {9.0, 2147483648.0, 10.5, std::nan("")})
        EXPECT_NE(fault("samples", samples), "") << samples;
    Fill([](Form& form) {
        form["equation"].text = "sin(";
        form["testCalc"].action(form);
        EXPECT_NE(form["result"].text.find("cannot be used"), std::string::npos);
        form["equation"].text = "t + 1";
        form["testCalc"].action(form);
        EXPECT_EQ(form["result"].text, "At t = 0 ms: 1; at t = 1 ms: 2");
        form["equation"].text = "u";
        return true;
    });
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_NE(host.formFault.find("cannot be used"), std::string::npos);
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(NewFileTest, RandomEquationsFollowTheSeed) {
    const auto write = [&](uint64_t seed) {
        session.Seed(seed);
        EXPECT_EQ(CheckUserDefined(session, {1.0, 10, "rndn(0,1)", "", false}), "");  // draws nothing
        WriteUserDefinedFile(session, {1.0, 10, "rndn(0,1)", "", false}, "/r.kymr-dat");
        auto doc = Reopen("/r.kymr-dat");
        return Samples(*doc);
    };
    const auto first = write(5);
    EXPECT_EQ(write(5), first);
    EXPECT_NE(write(6), first);
}

TEST_F(NewFileTest, NamesAndCancels) {
    const auto accept = [](Form&) { return true; };
    Fill([](Form&) { return false; });
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_TRUE(host.fileRequests.empty()) << "a cancelled dialog asks for no name";
    Fill(accept);
    host.saveFile.reset();
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    Fill(accept);
    host.saveFile = "/odd \xC3\xA9 name.v2";
    EXPECT_EQ(NewUserDefinedFile(session, {}), "/odd \xC3\xA9 name.v2.kymr-dat");
    // The name that was completed is taken: the user did not see that in the dialog.
    Fill(accept);
    host.answer = false;
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_NE(host.questions.back().text.find("Replace it?"), std::string::npos);
    Fill(accept);
    auto open = Recording("/open.kymr-dat", 0);
    files.Put("/open.kymr-dat", {});
    host.saveFile = "/open.kymr-dat";
    CDataDoc* list[] = {open.get()};
    EXPECT_FALSE(NewUserDefinedFile(session, list));
    EXPECT_NE(host.LastMessage().find("is open"), std::string::npos);
    Fill(accept);
    host.saveFile = "/cancelled.kymr-dat";
    host.cancelAtCall = 1;
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_FALSE(files.Has("/cancelled.kymr-dat"));
    EXPECT_EQ(files.Count(), 2u) << "nothing half-written is left";
}

// --- from an average ---

TEST_F(NewFileTest, TheAverageOfOpenFiles) {
    auto one = Recording("/one.edf", 1.0f), two = Recording("/two.edf", 2.0f),
         three = Recording("/3.edf", 4.0f);
    CDataDoc* open[] = {one.get(), two.get(), three.get()};
    Fill([](Form& form) {
        EXPECT_EQ(form.title, "Average File and Trace Selection");
        EXPECT_EQ(form["files"].label, "Select files containing traces to average (must be open in view)");
        EXPECT_EQ(form["files"].choices.size(), 3u);
        form["traces"].text = "2 1";
        form["comment"].text = "mean";
        return true;
    });
    ASSERT_TRUE(NewFileFromAverage(session, open)) << host.LastMessage() << host.formFault;
    auto doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->sampleInterval, 0.5);
    EXPECT_EQ(doc->traces[1].traceLabel, "Avg: soma");
    EXPECT_EQ(doc->traces[1].axisLabel, "Vm");
    EXPECT_EQ(doc->fileComment, "mean");
    // Added in single precision in the order of the files, and divided by their number.
    for (int i = 0; i < 5; ++i) {
        const auto index = static_cast<float>(i);
        const float sum = ((1.0f + index) + (2.0f + index)) + (4.0f + index);
        EXPECT_EQ(Samples(*doc, 0)[static_cast<size_t>(i)], sum / 3.0f);
        const float tens = (10.0f * (1.0f + index) + 10.0f * (2.0f + index)) + 10.0f * (4.0f + index);
        EXPECT_EQ(Samples(*doc, 1)[static_cast<size_t>(i)], tens / 3.0f);
    }
    EXPECT_TRUE(doc->historyLog.ends_with("File: New: From average\r\nTraces: 1 2\r\nFiles\r\n/one.edf\r\n"
                                          "/two.edf\r\n/3.edf\r\n\r\n"));
    EXPECT_NE(host.LogText().find("File new average will process files:\n/one.edf"), std::string::npos);
}

TEST_F(NewFileTest, InconsistentFilesAreSkippedOrEndTheCommand) {
    auto one = Recording("/one", 1.0f), shorter = Recording("/short", 1.0f, 4);
    auto other = Recording("/rate", 1.0f, 5, std::nextafter(0.5, 1.0)), last = Recording("/last", 3.0f);
    CDataDoc* open[] = {one.get(), shorter.get(), other.get(), last.get()};
    const auto all = [](Form&) { return true; };
    Fill(all);
    ASSERT_TRUE(NewFileFromAverage(session, open));
    ASSERT_EQ(host.questions.size(), 2u);
    EXPECT_EQ(host.questions[0].text,
              "Inconsistent channels, rate or length in file /short. OK to skip, Cancel to abort");
    EXPECT_EQ(Samples(*Reopen())[0], 2.0f);  // of /one and /last
    Fill(all);
    host.nextAnswers = {true, false};
    files.Remove("/new.kymr-dat");
    EXPECT_FALSE(NewFileFromAverage(session, open));
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(NewFileTest, GapsAndEmptyChoicesMakeNoAverage) {
    auto whole = Recording("/whole", 1.0f);
    auto gaps = MemoryDoc::MakeWithRuns(session, {{1, 2, 3}}, {{2, 2, 1}});
    CDataDoc* open[] = {whole.get(), gaps.get()};
    Fill([](Form&) { return true; });
    EXPECT_FALSE(NewFileFromAverage(session, open));
    EXPECT_EQ(host.LastMessage(), "This file has gaps in it, and the process cannot handle gaps. Re-open in "
                                  "gap-free mode.");
    Fill([](Form& form) {
        form["files"].checks = {0, 0};
        return true;
    });
    EXPECT_FALSE(NewFileFromAverage(session, open));
    Fill([](Form& form) {
        form["traces"].text = " ";
        return true;
    });
    EXPECT_FALSE(NewFileFromAverage(session, open));
    EXPECT_EQ(host.messages.size(), 1u) << "no file or no trace: nothing is done";
    Fill([](Form& form) {
        form["traces"].text = "1-3";
        return true;
    });
    EXPECT_FALSE(NewFileFromAverage(session, open));
    EXPECT_EQ(host.formFault, "The selected data trace does not exist");
}

// --- legacy files ---

TEST_F(NewFileTest, ALegacyFileIsWrittenBesideTheRecording) {
    auto doc = Recording("/dir/rec.edf", 1.0f);
    doc->fileComment = "old";
    host.saveFile = "/legacy";
    Fill([](Form& form) {
        EXPECT_EQ(form["comment"].text, "old");
        form["comment"].text = "for the old program";
        return true;
    });
    ASSERT_EQ(SaveAsLegacy(*doc, {}), "/legacy.flt") << host.LastMessage();
    EXPECT_EQ(host.notices.back().key, "LegacySave");
    EXPECT_EQ(host.fileRequests.back().suggestion, "/dir/rec.flt");
    EXPECT_EQ(doc->fileComment, "old");
    auto written = Reopen("/legacy.flt");
    ASSERT_TRUE(written);
    EXPECT_EQ(written->fileVersion, 36);
    EXPECT_EQ(written->fileComment, "for the old program");
    host.noticeAnswer = false;
    EXPECT_FALSE(SaveAsLegacy(*doc, {}));
    EXPECT_EQ(host.fileRequests.size(), 1u);
}

}  // namespace
}  // namespace kymora::test
