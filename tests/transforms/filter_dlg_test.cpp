// The filters as a user sets them: limits, settings that follow others, reports, lists and graphs.

#include "support/operation_results.h"
#include "transforms/dialog_fixture.h"
#include "transforms/digital_fir.h"
#include "transforms/filter_rc_dlg.h"
#include "transforms/narrow_band_dlg.h"
#include "transforms/section_filter_dlg.h"

namespace kymora::test {
namespace {

using FilterDlgTest = DialogTest;

// Why a setting is refused.
std::string FaultOf(CBatchBaseDlg& dialog, const char* key, const char* value) {
    ParamList params = dialog.Params();
    return params.Find(key)->SetFromText(value);
}

// At 2 kHz, the rate of the recording.
TEST_F(FilterDlgTest, FirCutoffsOrdersAndTransitions) {
    CDigitalFIR dialog;
    dialog.CheckChangeDoc(doc.get());
    EXPECT_EQ(dialog.Validate(), "");
    const struct {
        const char *key, *value, *fault;
    } cases[] = {
        {"order", "199", oddOrderText},           {"order", "20", ""},
        {"lowerCut", "100", lowerAboveUpperText}, {"lowerCut", "200", lowerAboveUpperText},
        {"upperCut", "150", upperBelowLowerText}, {"upperCut", "1000", ""},
    };
    for (const auto& [key, value, fault] : cases) {
        Set(dialog, {{key, value}});
        EXPECT_EQ(dialog.Validate(), fault) << key << " " << value;
    }
    for (const auto& [key, value] : {std::pair{"order", "-2"},
                                     {"order", "202"},
                                     {"order", "1000000000"},
                                     {"upperCut", "1000.01"},
                                     {"lowerCut", "nan"},
                                     {"alpha", "101"}})
        EXPECT_NE(FaultOf(dialog, key, value), "") << key << " " << value;
    Set(dialog, {{"lowerCut", "0"}});
    // A transition sets the order, at each rate, until the order is set itself.
    Set(dialog, {{"transitionWidth", "200"}});
    EXPECT_EQ(dialog.m_nOrder, 56);
    Set(dialog, {{"window", "hann"}});
    EXPECT_EQ(dialog.m_nOrder, 32);
    const auto fast = MemoryDoc::Make(session, {NoiseRun(10)}, 0.25);
    dialog.CheckChangeDoc(fast.get());
    EXPECT_EQ(dialog.m_nOrder, 62);
    Set(dialog, {{"order", "40"}});
    dialog.CheckChangeDoc(doc.get());
    EXPECT_EQ(dialog.m_nOrder, 40);
    EXPECT_EQ(dialog.m_fTransitionWidth, 0.0f);
}

TEST_F(FilterDlgTest, FirDefaultComesDownToNyquistAndAChosenOneDoesNot) {
    SetDoc({NoiseRun(50)}, 10.0);
    CDigitalFIR fresh, chosen;
    fresh.CheckChangeDoc(doc.get());
    EXPECT_EQ(fresh.m_fUpperCut, 50.0f);
    EXPECT_EQ(fresh.Validate(), "");
    Set(chosen, {{"upperCut", "100"}});
    // Settings go from one recording to the next.
    CDigitalFIR kept, next;
    kept.TakeSettings(chosen.Settings());
    next.TakeSettings(fresh.Settings());
    kept.CheckChangeDoc(doc.get());
    EXPECT_EQ(kept.m_fUpperCut, 100.0f);
    EXPECT_NE(kept.Validate(), "");
    SetDoc({NoiseRun(50)}, 20.0);
    next.CheckChangeDoc(doc.get());
    EXPECT_EQ(next.m_fUpperCut, 25.0f);
    SetDoc({NoiseRun(50)}, 1.0);
    next.CheckChangeDoc(doc.get());
    EXPECT_EQ(next.m_fUpperCut, 100.0f);
}

TEST_F(FilterDlgTest, ListsOfCoefficientsAndGains) {
    CDigitalFIR fir;
    Set(fir, {{"report", "coeffs"}});
    EXPECT_EQ(ResultText(fir), noSampleRateText);
    fir.CheckChangeDoc(doc.get());
    Set(fir, {{"order", "2"}, {"window", "hann"}, {"upperCut", "500"}, {"report", "1"}});
    // sin(pi / 2) / pi x (cos(pi / 2) + 1) / 2
    EXPECT_EQ(ResultText(fir), "Coefficients\r\n  0\t0.159155\r\n  1\t0.500000\r\n  2\t0.159155\r\n");
    EXPECT_EQ(fir.WhatItAffects(), Affects::nothing);
    EXPECT_TRUE(fir.Run());
    Set(fir, {{"report", "gain"}, {"freqIncrement", "400"}});
    // 1/2 + cos(2 pi f / fs) / pi with a delay of one sample; the list goes on beyond half the rate.
    EXPECT_EQ(ResultText(fir), "freq\tgain\tphase\r\n"
                               "0\t      -1.7416\t       0.0000\r\n"
                               "400\t      -4.4607\t     -72.0000\r\n"
                               "800\t     -12.3064\t    -144.0000\r\n"
                               "1200\t     -12.3064\t     144.0000\r\n");
    ASSERT_EQ(fir.Results().size(), 1u);
    int rows = 0;
    fir.Results()[0].rows([&](auto) { return ++rows < 3; });
    EXPECT_EQ(rows, 3);
    // What leaves nothing has no decibels.
    Set(fir, {{"order", "0"}, {"report", "0"}});
    EXPECT_EQ(ResultText(fir), "");
    EXPECT_EQ(fir.WhatItAffects(), Affects::traces);

    CFilterRCDlg rc;
    rc.CheckChangeDoc(doc.get());
    Set(rc, {{"type", "low-pass"}, {"tau", "1"}, {"report", "1"}});
    EXPECT_EQ(ResultText(rc),
              "Coefficients\r\nb\r\n  0\t0.39346934028736658\r\na\r\n  0\t1\r\n  1\t0.60653065971263342\r\n");
    Set(rc, {{"report", "2"}, {"freqIncrement", "1"}});
    SetDoc({NoiseRun(50)}, 1e-6);
    rc.CheckChangeDoc(doc.get());
    EXPECT_NE(rc.Validate().find("increment of 500 Hz or more"), std::string::npos) << rc.Validate();
}

TEST_F(FilterDlgTest, GainOfThePassBandIsToldBeforeARun) {
    MemoryFileSystem& disk = files;
    doc->filePath = "/rec.kymr-dat";
    CDigitalFIR dialog;
    dialog.CheckChangeDoc(doc.get());
    RunMessages messages;
    dialog.SendMessagesTo(&messages);
    const auto told = [&](const std::vector<std::pair<const char*, const char*>>& settings) {
        Set(dialog, settings);
        messages.clear();
        dialog.m_nReport = 2;
        EXPECT_TRUE(dialog.WriteFile(session, "/out.kymr-dat", true).isDone);
        EXPECT_EQ(dialog.m_nReport, 0) << "the history tells of a filter";
        return messages.empty() ? std::string() : messages.front().text;
    };
    EXPECT_EQ(told({{"lowerCut", "200"}, {"upperCut", "600"}}),
              "The gain in the middle of the pass band (400 Hz) is 1.0000.\nThe last 100 samples of each run "
              "are zero. The first 100 follow a jump from 0 to the data, since nothing lies before them: of "
              "data far from 0, take the mean away first.");
    // The order that would do does.
    const std::string warning = told({{"lowerCut", "0"}, {"upperCut", "100"}, {"order", "10"}});
    const size_t named = warning.find("an order of ");
    ASSERT_NE(named, std::string::npos) << warning;
    const std::string order = std::to_string(std::stoi(warning.substr(named + 12)));
    EXPECT_EQ(told({{"order", order.c_str()}}).find("should"), std::string::npos);
    EXPECT_NE(told({{"upperCut", "2"}}).find("no order does"), std::string::npos);
    EXPECT_EQ(told({{"bandType", "1"}, {"upperCut", "200"}, {"order", "0"}}),
              "The gain in the middle of the pass band (600 Hz) is 1.0000.");
    EXPECT_TRUE(disk.Stamp("/out.kymr-dat"));
}

TEST_F(FilterDlgTest, RcCutoffAndTimeConstantFollowEachOther) {
    CFilterRCDlg dialog;
    EXPECT_NEAR(dialog.m_fTau, 3.1831, 1e-4);
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"tau", "10"}});
    EXPECT_NEAR(dialog.m_fCutoff, 15.9155, 1e-4);
    Set(dialog, {{"cutoff", "1000"}});
    EXPECT_NEAR(dialog.m_fTau, 0.159155, 1e-6);
    EXPECT_EQ(dialog.Validate(), "") << "exactly at Nyquist";
    Set(dialog, {{"cutoff", "1000.1"}});
    EXPECT_EQ(dialog.Validate(), nyquistText);
    EXPECT_STREQ(Memory(dialog, {1, 2}).outcome.message, nyquistText);
    EXPECT_STREQ(Stream(dialog, {1, 2}).outcome.message, nyquistText);
    for (const auto& [key, value] : {std::pair{"tau", "0"}, {"tau", "1e30"}, {"cutoff", "0"}}) {
        EXPECT_NE(FaultOf(dialog, key, value), "") << key << value;
    }
    Set(dialog, {{"cutoff", "100"}, {"passes", "2"}});
    const std::vector<float> run = NoiseRun(20000);
    EXPECT_EQ(Memory(dialog, run).values, Stream(dialog, run).values);
    EXPECT_EQ(Report(dialog),
              "RC-type filter transform parameters\r\nTrace list: 1\r\nAdd trace mode\r\n"
              "High-pass: time constant = 1.591549, cutoff = 100.000000\r\nBidirectional\r\n");
}

TEST_F(FilterDlgTest, NarrowBandsSectionsAndNotches) {
    CNarrowBandDlg narrow;
    narrow.CheckChangeDoc(doc.get());
    EXPECT_EQ(Report(narrow),
              "Narrow-band filter transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\n"
              "Band stop: centre frequency 50.000000\r\n");
    Set(narrow, {{"centre", "1000"}});
    EXPECT_EQ(narrow.Validate(), "");
    Set(narrow, {{"centre", "1001"}});
    EXPECT_EQ(narrow.Validate(), nyquistText);
    EXPECT_NE(FaultOf(narrow, "centre", "0"), "");
    Set(narrow, {{"centre", "0.000001"}});
    EXPECT_EQ(narrow.Validate(), "The centre frequency is too low for this sampling rate.");
    EXPECT_NE(FaultOf(narrow, "bandWidth", "0"), "");

    CClassicFilter classic;
    classic.CheckChangeDoc(doc.get());
    EXPECT_EQ(Enabled(classic, {"lowerCut", "upperCut"}), "upperCut");
    Set(classic, {{"bandType", "2"}, {"lowerCut", "100"}});
    EXPECT_NE(classic.Validate(), "");
    Set(classic, {{"upperCut", "1000"}});
    EXPECT_EQ(classic.Validate(), edgeAtNyquistText);
    Set(classic, {{"upperCut", "999"}, {"lowerCut", "0.0001"}});
    EXPECT_NE(classic.Validate().find("too low for this sampling rate"), std::string::npos);
    Set(classic, {{"lowerCut", "100"}});
    Set(classic, {{"upperCut", "999"}, {"design", "bessel"}, {"order", "10"}});
    EXPECT_EQ(classic.Validate(), "");
    EXPECT_EQ(classic.ResultLabel("EMG *"), "EMG *; Bessel");
    CClassicFilter again;
    again.TakeSettings(classic.Settings());
    EXPECT_EQ(again.ResultLabel(""), "Bessel");
    const std::vector<float> run = NoiseRun(20000);
    EXPECT_EQ(Memory(classic, run).values, Stream(classic, run).values);

    CHarmonicNotch notch;
    notch.CheckChangeDoc(doc.get());
    EXPECT_EQ(notch.Validate(), "");
    EXPECT_EQ(Memory(notch, run).values, Stream(notch, run).values);
    Set(notch, {{"frequency", "1000"}});
    EXPECT_NE(notch.Validate(), "");
    Set(notch, {{"frequency", "60"}, {"width", "60"}});
    EXPECT_NE(notch.Validate(), "");
}

// Another recording may stand where the one before stood, with as many samples.
TEST_F(FilterDlgTest, TheSpectrumIsThatOfTheRecordingAtHand) {
    int64_t period = 4;
    doc = MemoryDoc::Generate(
        session, 1, 1024, [&](int, int64_t i) { return static_cast<float>(i % period < period / 2); }, 0.5);
    CFilterRCDlg dialog;
    // The frequency of the largest line.
    const auto peak = [&] {
        dialog.CheckChangeDoc(doc.get());
        const Graph graph = *dialog.GetGraph();
        const GraphLayer& data = graph.Named("magnitude").layers.at(0);
        return data.x[static_cast<size_t>(std::ranges::max_element(data.y) - data.y.begin())];
    };
    EXPECT_NEAR(peak(), 500.0, 5.0);
    period = 16;
    EXPECT_NEAR(peak(), 125.0, 5.0);
}

TEST_F(FilterDlgTest, GraphsFollowTheKnobs) {
    CDigitalFIR fir;
    ASSERT_TRUE(fir.GetGraph());
    EXPECT_TRUE(fir.GetGraph()->panes[0].layers.empty()) << "no recording, no rate";
    std::vector<std::unique_ptr<CFilterDlg>> filters;
    filters.push_back(std::make_unique<CDigitalFIR>());
    filters.push_back(std::make_unique<CFilterRCDlg>());
    filters.push_back(std::make_unique<CNarrowBandDlg>());
    filters.push_back(std::make_unique<CClassicFilter>());
    filters.push_back(std::make_unique<CHarmonicNotch>());
    for (const auto& filter : filters) {
        SCOPED_TRACE(filter->ClassName());
        filter->CheckChangeDoc(doc.get());
        const Graph graph = *filter->GetGraph();
        ASSERT_EQ(graph.panes.size(), 4u);
        // The data in view, and the filter.
        ASSERT_EQ(graph.Named("magnitude").layers.size(), 2u);
        EXPECT_FALSE(graph.Named("magnitude").lines.empty());
        // A step is the sum of impulses.
        const GraphLayer& step = graph.Named("step").layers.at(0);
        const GraphLayer& impulse = graph.Named("impulse").layers.at(0);
        ASSERT_EQ(step.x, impulse.x);
        double sum = 0.0;
        for (size_t i = 0; i < step.x.size(); ++i) {
            sum += impulse.y[i];
            EXPECT_NEAR(step.y[i], sum, 2e-2) << i;
        }
    }
    // The line of a cutoff stands where it is set.
    Set(*filters[1], {{"cutoff", "321"}});
    EXPECT_EQ(filters[1]->GetGraph()->panes[0].lines.at(0).at, 321.0);
    EXPECT_EQ(filters[1]->GetGraph()->panes[0].lines.at(0).parameter, "cutoff");
}

}  // namespace
}  // namespace kymora::test
