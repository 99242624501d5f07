#include "document/new_file.h"
#include "host/form.h"

#include <cmath>
#include <limits>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class NewFileTest : public SessionTest {
  protected:
    void SetUp() override {
        session.now = [] { return std::time_t{1000000000}; };
        host.saveFile = "/new.kymr-dat";
    }
    std::unique_ptr<CFloatDoc> Reopen(const std::filesystem::path& path = "/new.kymr-dat") {
        auto doc = std::make_unique<CFloatDoc>(session);
        return doc->OnOpenDocument(path, OpenFor::reading) ? std::move(doc) : nullptr;
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
    const auto samples = SamplesOf(*doc);
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
    const auto samples = SamplesOf(*Reopen("/sinc.kymr-dat"));
    EXPECT_TRUE(std::isnan(samples[0])) << "they are written as they are";
    EXPECT_EQ(samples[1], static_cast<float>(std::sin(2.0) / 2.0));
    host.Forget();
    WriteUserDefinedFile(session, {1.0, 10, "1/t", "", false}, "/inf.kymr-dat");
    EXPECT_TRUE(host.WasSilent()) << "an infinite value is a value";
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
    EXPECT_EQ(doc->GetStoredCount(0), 0);
}

TEST_F(NewFileTest, BadSettingsAreRefusedAndNothingIsWritten) {
    const double nan = std::nan("");
    for (const auto& [key, number] : std::vector<std::pair<const char*, double>>{{"sampleInterval", 0.0},
                                                                                 {"sampleInterval", 0.99e-7},
                                                                                 {"sampleInterval", 1.01e7},
                                                                                 {"sampleInterval", nan},
                                                                                 {"samples", 9.0},
                                                                                 {"samples", 2147483648.0},
                                                                                 {"samples", 10.5},
                                                                                 {"samples", nan}}) {
        Fill([key, number](Form& form) {
            form[key].number = number;
            return true;
        });
        EXPECT_FALSE(NewUserDefinedFile(session, {}));
        EXPECT_NE(host.formFault, "") << key << " " << number;
    }
    Fill([](Form& form) {
        form["equation"].text = "t + 1";
        form["testCalc"].action(form);
        EXPECT_EQ(form["result"].text, "At t = 0 ms: 1; at t = 1 ms: 2");
        form["equation"].text = "u";
        form["testCalc"].action(form);
        EXPECT_NE(form["result"].text.find("cannot be used"), std::string::npos);
        return true;
    });
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_NE(host.formFault.find("cannot be used"), std::string::npos);
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(NewFileTest, NamesAndCancels) {
    Fill([](Form&) { return false; });
    EXPECT_FALSE(NewUserDefinedFile(session, {}));
    EXPECT_TRUE(host.fileRequests.empty()) << "a cancelled dialog asks for no name";
    const auto made = [&](std::optional<std::filesystem::path> name, std::span<CDataDoc* const> open = {}) {
        Fill([](Form&) { return true; });
        host.saveFile = name;
        return NewUserDefinedFile(session, open);
    };
    EXPECT_FALSE(made({}));
    EXPECT_EQ(made("/odd \xC3\xA9 name.v2"), "/odd \xC3\xA9 name.v2.kymr-dat");
    // The name that was completed is taken: the user did not see that in the dialog.
    host.answer = false;
    EXPECT_FALSE(made("/odd \xC3\xA9 name.v2"));
    EXPECT_NE(host.questions.back().text.find("Replace it?"), std::string::npos);
    auto open = Recording("/open.kymr-dat", 0);
    files.Put("/open.kymr-dat", {});
    CDataDoc* list[] = {open.get()};
    EXPECT_FALSE(made("/open.kymr-dat", list));
    EXPECT_NE(host.LastMessage().find("is open"), std::string::npos);
    host.cancelAtCall = 1;
    EXPECT_FALSE(made("/cancelled.kymr-dat"));
    EXPECT_EQ(files.Count(), 2u) << "nothing half-written is left";
}

// --- from an average ---

TEST_F(NewFileTest, TheAverageOfOpenFiles) {
    auto one = Recording("/one.edf", 1.0f), two = Recording("/two.edf", 2.0f),
         three = Recording("/3.edf", 4.0f);
    CDataDoc* open[] = {one.get(), two.get(), three.get()};
    Fill([](Form& form) {
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
    for (size_t i = 0; i < 5; ++i) {
        const auto index = static_cast<float>(i);
        const auto mean = [&](float by) {
            return ((by * (1.0f + index) + by * (2.0f + index)) + by * (4.0f + index)) / 3.0f;
        };
        EXPECT_EQ(SamplesOf(*doc, 0)[i], mean(1.0f));
        EXPECT_EQ(SamplesOf(*doc, 1)[i], mean(10.0f));
    }
    EXPECT_TRUE(doc->historyLog.ends_with("File: New: From average\r\nTraces: 1 2\r\nFiles\r\n/one.edf\r\n"
                                          "/two.edf\r\n/3.edf\r\n\r\n"));
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
    EXPECT_EQ(SamplesOf(*Reopen())[0], 2.0f);  // of /one and /last
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
    for (const bool noFile : {true, false}) {
        Fill([=](Form& form) {
            if (noFile) form["files"].checks = {0, 0};
            if (!noFile) form["traces"].text = " ";
            return true;
        });
        EXPECT_FALSE(NewFileFromAverage(session, open));
    }
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
        form["comment"].text += ", for the old program";
        return true;
    });
    ASSERT_EQ(SaveAsLegacy(*doc, {}), "/legacy.flt") << host.LastMessage();
    EXPECT_EQ(host.fileRequests.back().suggestion, "/dir/rec.flt");
    EXPECT_EQ(doc->fileComment, "old");
    auto written = Reopen("/legacy.flt");
    ASSERT_TRUE(written);
    EXPECT_EQ(written->fileVersion, 36);
    EXPECT_EQ(written->fileComment, "old, for the old program");
    host.noticeAnswer = false;
    EXPECT_FALSE(SaveAsLegacy(*doc, {}));
    EXPECT_EQ(host.fileRequests.size(), 1u);
}

}  // namespace
}  // namespace kymora::test
