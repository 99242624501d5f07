// Unitary arithmetic, derivative, integral and local energy as a user sets them.

#include "transforms/derivs.h"
#include "transforms/dialog_fixture.h"
#include "transforms/integrate_dlg.h"
#include "transforms/local_energy.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

using PointwiseDlgTest = DialogTest;
using Values = std::vector<float>;

TEST_F(PointwiseDlgTest, UnitaryStepsInTheListedOrder) {
    CUnitaryTransform dialog;
    const Values run = {-2, 1, 3};
    // As it comes it changes nothing.
    EXPECT_EQ(Memory(dialog, run).values, run);
    EXPECT_FALSE(dialog.ChangesScale());
    EXPECT_EQ(dialog.ResultLabel("EMG *"), "EMG *");
    Set(dialog, {{"offset", "1"}, {"scale", "-2"}, {"order", "1 2 3"}, {"rename", "1"}});
    EXPECT_EQ(dialog.ResultLabel("EMG *"), "EMG *; Unitary");
    EXPECT_TRUE(dialog.ChangesScale());
    EXPECT_EQ(Memory(dialog, run).values, (Values{2, 4, 8}));
    EXPECT_EQ(Report(dialog), "Unitary transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\n"
                              "Order: 1 2 3\r\nOffset 1.000000\r\nScale -2.000000\r\n"
                              "Rectify: full wave\r\n");
    Set(dialog, {{"order", "3, 2,1"}, {"rectifyType", "1"}});
    EXPECT_EQ(Memory(dialog, run).values, (Values{1, -1, -5}));
    EXPECT_EQ(Stream(dialog, NoiseRun(20000)).values, Memory(dialog, NoiseRun(20000)).values);
    Set(dialog, {{"order", "0 2 0"}});
    EXPECT_EQ(Memory(dialog, run).values, (Values{4, -2, -6}));
    EXPECT_EQ(Enabled(dialog, {"offset", "scale", "rectifyType"}), "scale");
}

TEST_F(PointwiseDlgTest, UnitaryOrderListsThatAreNone) {
    CUnitaryTransform dialog;
    for (const char* list : {"", "1", "1 2", "1 2 3 0", "1 2 x", "1 2 3x", "1-3"}) {
        Set(dialog, {{"order", list}});
        EXPECT_EQ(dialog.Validate(), orderListText) << list;
    }
    Set(dialog, {{"order", "1 2 1"}});
    EXPECT_EQ(dialog.Validate(), "You have duplicate numbers in the order list");
    Set(dialog, {{"order", "1 2 4"}});
    EXPECT_EQ(dialog.Validate(), unrecognizedTransformText);
    EXPECT_STREQ(Memory(dialog, {1}).outcome.message, unrecognizedTransformText);
    Set(dialog, {{"order", "0,0\t1"}});
    EXPECT_EQ(dialog.Validate(), "");
}

TEST_F(PointwiseDlgTest, Derivatives) {
    CDerivs dialog;
    dialog.CheckChangeDoc(doc.get());
    // x^3 / 8 is t^3 at 0.5 ms: the derivatives are 3 t^2, 6 t and 6.
    Values run;
    for (int i = 0; i < 20; ++i) run.push_back(static_cast<float>(i * i * i) / 8.0f);
    EXPECT_EQ(Memory(dialog, run).values[2], (1.0f - 0.125f) / 0.5f);
    Set(dialog, {{"type", "1"}});
    EXPECT_EQ(Memory(dialog, run).values[2], (27.0f / 8.0f - 1.0f) / 0.5f);
    EXPECT_EQ(dialog.ResultUnits("mV") + dialog.ResultUnits(""), "mV/ms");
    EXPECT_EQ(Enabled(dialog, {"savitzkyGolay", "halfWindow", "polynomialDegree"}), "");
    Set(dialog, {{"type", "3"}});
    EXPECT_NEAR(Memory(dialog, run).values[10], 30.0, 1e-3);
    EXPECT_EQ(dialog.ResultUnits("mV"), "mV/ms^2");
    EXPECT_EQ(Enabled(dialog, {"savitzkyGolay", "halfWindow", "polynomialDegree"}), "savitzkyGolay");
    EXPECT_TRUE(Report(dialog).ends_with("Type: d2V/dT2 Finite diff O4\r\n"));
    Set(dialog, {{"savitzkyGolay", "1"}, {"halfWindow", "4"}, {"polyDegree", "3"}});
    EXPECT_TRUE(Report(dialog).ends_with(
        "Type: d2V/dT2 Savitzky-Golay\r\nHalf window time 2.000000\r\nPolynomial degree: 3\r\n"));
    EXPECT_NEAR(Memory(dialog, run).values[10], 30.0, 1e-3);
    // Long runs have it per sample, and the log says so.
    const Smoothed streamed = Stream(dialog, run);
    EXPECT_NEAR(streamed.values[10], 30.0 * 0.25, 1e-3);
    EXPECT_STREQ(streamed.outcome.note, derivativePerSampleText);
    Set(dialog, {{"type", "4"}, {"polynomialDegree", "2"}});
    EXPECT_EQ(dialog.Validate(), derivativeAboveDegreeText);
    Set(dialog, {{"polyDegree", "5"}});
    EXPECT_EQ(dialog.Validate(), degreeAboveHalfWindowText);
    Set(dialog, {{"type", "0"}});
    EXPECT_EQ(dialog.Validate(), "") << "adjacent differences have no degree";
}

TEST_F(PointwiseDlgTest, Integrals) {
    CIntegrate dialog;
    const struct {
        std::vector<std::pair<const char*, const char*>> settings;
        Values values;  // of 1 2 3 4 5, at 0.5 ms
        const char *units, *report;
    } cases[] = {
        {{}, {1, 3, 6, 10, 15}, "mV", "Mode: cumulative\r\nnever reset\r\nScaling: none (summed val)\r\n"},
        // 1, 3, then 6 is beyond: the sum begins anew at 3; 7 is beyond: at 4; 9: at 5.
        {{{"resetKind", "2"}, {"resetValue", "5.5"}, {"scaling", "1"}},
         {0.5f, 1.5f, 1.5f, 2, 2.5f},
         "mV.ms",
         "reset after 5.500000 value\r\nScaling: amp.ms (summed val * sample interval in ms)\r\n"},
        {{{"resetKind", "reset after time"}, {"resetTime", "1"}, {"scaling", "2"}},
         {0.0005f, 0.0015f, 0.0015f, 0.0035f, 0.006f},
         "mV.s",
         "reset after 1.000000 ms\r\nScaling: amp.s (summed val * sample interval in s)\r\n"},
        {{{"mode", "binned"}, {"binWidth", "1.2"}, {"scaling", "0"}},
         {3, 3, 7, 7, 5},
         "mV",
         "Mode: binned\r\nBin width 1.200000\r\nScaling: none (summed val)\r\n"},
        // A bin holds a sample at least.
        {{{"binWidth", "0.1"}}, {1, 2, 3, 4, 5}, "mV", ""},
    };
    for (const auto& [settings, values, units, report] : cases) {
        SCOPED_TRACE(report);
        Set(dialog, settings);
        EXPECT_EQ(Memory(dialog, {1, 2, 3, 4, 5}).values, values);
        EXPECT_EQ(Stream(dialog, {1, 2, 3, 4, 5}).values, values);
        EXPECT_EQ(dialog.ResultUnits("mV"), units);
        EXPECT_TRUE(Report(dialog).ends_with(report)) << Report(dialog);
    }
    EXPECT_EQ(Enabled(dialog, {"resetKind", "resetTime", "resetValue", "binWidth"}), "binWidth");
    dialog.CheckChangeDoc(doc.get());
    EXPECT_EQ(dialog.m_dBinWidth, 0.5);
}

TEST_F(PointwiseDlgTest, LocalEnergyAndItsOlderName) {
    CLocalEnergy dialog;
    Set(dialog, {{"kWindow", "2"}});
    const Values run = {1, 2, 3, 4, 5, 6};
    // 1 - 9, 4 - 16, 9 - 5, 16 - 12, 25 - 9, 36 - 16
    EXPECT_EQ(Memory(dialog, run).values, (Values{-8, -12, 4, 4, 16, 20}));
    EXPECT_EQ(Stream(dialog, run).values, Memory(dialog, run).values);
    EXPECT_EQ(dialog.ResultUnits("mV"), "mV^2");
    EXPECT_EQ(Report(dialog), "Local energy transform parameters:\r\nTrace list: 1\r\nAdd trace mode\r\n"
                              "k-window 2\r\n");
    EXPECT_NE(dialog.Params().Find("k")->SetFromText("0"), "");

    class OlderEnergy : public CLocalEnergy {
        const char* ClassName() const override { return "CTeagerEnergyOperator"; }
        const char* OlderClassName() const override { return ""; }
    };
    OlderEnergy older;
    older.m_nK = 7;
    dialog.TakeSettings(older.Settings());
    EXPECT_EQ(dialog.m_nK, 7);
    // Others are no configuration of it, and it is none of theirs.
    EXPECT_THROW(dialog.TakeSettings(CIntegrate().Settings()), ArchiveError);
    EXPECT_TRUE(dialog.m_bConfigError);
    EXPECT_THROW(older.TakeSettings(dialog.Settings()), ArchiveError);
    EXPECT_THROW(dialog.TakeSettings({}), ArchiveError);
}

}  // namespace
}  // namespace kymora::test
