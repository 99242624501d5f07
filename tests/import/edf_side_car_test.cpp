#include <fmt/format.h>

#include "document/side_car.h"
#include "edf_fixture.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

class EdfSideCar : public EdfTest {
  protected:
    static EdfBuilder Signals(const Strings& labels) {
        EdfBuilder builder;
        builder.recordCount = 2;
        for (const std::string& label : labels) builder.AddRamp(label, 10);
        return builder;
    }
    static EdfBuilder Numbered(int count) {
        Strings labels;
        for (int i = 1; i <= count; ++i) labels.push_back(fmt::format("s{}", i));
        return Signals(labels);
    }
    static Strings Labels(const CDataDoc& doc) {
        Strings labels;
        for (int t = 0; t < doc.traceCount; ++t)
            labels.push_back(doc.traces[static_cast<size_t>(t)].traceLabel);
        return labels;
    }
    std::unique_ptr<CEDFDoc> Choose(const char* signals) {
        request.settings = {{"signals", signals}};
        auto doc = Reopen();
        request.settings.clear();
        host.messages.clear();
        return doc;
    }
    // Traces 1, 5 and 11; the events of channel c were made of the last.
    void SaveThreeOfEleven() {
        files.Put("/x.edf", Numbered(11).Build());
        auto doc = Choose("1,5,11");
        ASSERT_TRUE(doc);
        TraceSettings& last = doc->traces[2];
        last.axisTop = 7.0, last.traceGain = 4.0, last.traceColour = 0x123456, last.traceLabel = "mine";
        doc->AddEvent(2, {1, 2});
        doc->eventChannels[2].parentTrace = 2;
        doc->traceAnnotations[2].push_back({});
        doc->traceAnnotations[2][0].m_strLabel = "note";
        doc->scaleBars[1].list.resize(1);
        doc->scaleBars[1].list[0].m_nTrace = 2;
        doc->grid.gridCells = {2};
        ASSERT_TRUE(doc->OnSaveDocument());
    }
    // What belongs to signal 11 is on this trace.
    static void ExpectEleventhAt(const CEDFDoc& doc, int trace) {
        const auto slot = static_cast<size_t>(trace);
        const TraceSettings& settings = doc.traces[slot];
        EXPECT_EQ(settings.traceLabel, "mine");
        EXPECT_EQ(settings.axisTop, 7.0);
        EXPECT_EQ(settings.traceGain, 4.0);
        EXPECT_EQ(settings.traceColour, 0x123456u);
        EXPECT_EQ(settings.axisLabel, fmt::format("Ax {}", trace + 1));
        EXPECT_EQ(settings.traceOrder, trace);
        EXPECT_EQ(doc.GetParentTrace(2), trace);
        ASSERT_EQ(doc.traceAnnotations[slot].size(), 1u);
        EXPECT_EQ(doc.traceAnnotations[slot][0].m_nTrace, trace);
        ASSERT_EQ(doc.scaleBars[1].list.size(), 1u);
        EXPECT_EQ(doc.scaleBars[1].list[0].m_nTrace, trace);
    }
    std::vector<std::byte>& SideCarBytes() { return files.Bytes("/x.kymr-hdr"); }
    // As other programs and earlier versions write it.
    void CutSignals() {
        constexpr size_t markAndVersion = 4 + 2 * 13;
        auto& bytes = SideCarBytes();
        const std::string all(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        const size_t mark = all.find(std::string("t\0r\0a\0c\0e\0 \0s\0i\0g\0", 18));
        ASSERT_NE(mark, std::string::npos);
        ASSERT_GT(bytes.size(), mark + markAndVersion);
        bytes.resize(mark - 4);
    }
    std::string Noticed() const { return host.notices.empty() ? "" : host.notices.back().text; }
};

TEST_F(EdfSideCar, ADeletedAnnotationDoesNotComeBackFromTheFile) {
    EdfBuilder builder = Signals({"one"});
    builder.reserved = "EDF+C";
    auto doc = Open(builder.AddAnnotations({"+0||$+0.5|x|$", "+1||$"}));
    ASSERT_TRUE(doc);
    doc->eventChannels[1].DeleteEvent(0);
    ASSERT_TRUE(doc->OnSaveDocument());
    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "10-11:"}));
    EXPECT_EQ(doc->GetNumEvents(1), 0);
    EXPECT_NE(doc->AnnotationList().find(": x"), std::string::npos);
}

TEST_F(EdfSideCar, TheChoiceIsRememberedByEveryWayOfOpening) {
    SaveThreeOfEleven();
    for (const OpenTalk talk : {OpenTalk::asks, OpenTalk::shows, OpenTalk::tells, OpenTalk::logs}) {
        request.talk = talk;
        if (talk == OpenTalk::asks)
            host.fillForms.push_back([](Form& form) {
                EXPECT_EQ(form["signals"].checks, (std::vector<uint8_t>{1, 0, 0, 0, 1, 0, 0, 0, 0, 0, 1}));
                return true;
            });
        auto doc = Reopen();
        ASSERT_TRUE(doc);
        EXPECT_EQ(Labels(*doc), (Strings{"s1", "s5", "mine"}));
        EXPECT_EQ(doc->grid.gridCells, std::vector<int32_t>{2});
        ExpectEleventhAt(*doc, 2);
    }
    EXPECT_TRUE(host.messages.empty() && host.notices.empty());
}

TEST_F(EdfSideCar, WhatBelongsToASignalFollowsIt) {
    SaveThreeOfEleven();
    auto doc = Choose("3-4,11");
    ASSERT_TRUE(doc);
    EXPECT_EQ(Labels(*doc), (Strings{"s3", "s4", "mine"}));
    EXPECT_EQ(doc->traces[0].axisTop, 100.0);
    ASSERT_TRUE(doc = Choose("5-11"));
    ExpectEleventhAt(*doc, 6);
    EXPECT_TRUE(host.notices.empty()) << "all events have their trace";
}

TEST_F(EdfSideCar, WhatBelongsToNoTraceIsToldAndKept) {
    SaveThreeOfEleven();
    auto doc = Choose("1-2");
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetParentTrace(2), -1) << "not another signal";
    EXPECT_EQ(Labels(*doc), (Strings{"s1", "s2"}));
    EXPECT_TRUE(doc->scaleBars[1].list.empty());
    EXPECT_EQ(doc->grid.gridCells, std::vector<int32_t>{-1});
    EXPECT_EQ(Noticed(),
              "Events in channels c were made from signals that are no traces now: 11 \"s11\". They "
              "have no parent trace until these signals are chosen again.");
    ASSERT_TRUE(doc->OnSaveDocument());
    host.Forget();
    ASSERT_TRUE(doc = Reopen());
    EXPECT_EQ(Labels(*doc), (Strings{"s1", "s2"}));
    EXPECT_TRUE(host.notices.empty()) << "it was told before";
    ASSERT_TRUE(doc->OnSaveDocument());
    ASSERT_TRUE(doc = Choose("10-11"));
    ExpectEleventhAt(*doc, 1);
    // Events that were made anew of another trace stay with that.
    ASSERT_TRUE(doc = Choose("2"));
    doc->eventChannels[2].parentTrace = 0;
    ASSERT_TRUE(doc->OnSaveDocument());
    ASSERT_TRUE(doc = Choose("2,11"));
    EXPECT_EQ(doc->GetParentTrace(2), 0);
}

TEST_F(EdfSideCar, AnAxisThatTracesShareStaysShared) {
    files.Put("/x.edf", Numbered(4).Build());
    auto doc = Choose("2-4");
    doc->traces[0].traceOrder = doc->traces[1].traceOrder = 2;
    doc->traces[2].axisTop = 50.0;
    doc->traces[2].axisLabel = "shared";
    ASSERT_TRUE(doc->OnSaveDocument());
    ASSERT_TRUE(doc = Choose("1-4"));
    const auto orders = [&] {
        std::vector<int32_t> all;
        for (int t = 0; t < doc->traceCount; ++t)
            all.push_back(doc->traces[static_cast<size_t>(t)].traceOrder);
        return all;
    };
    EXPECT_EQ(orders(), (std::vector<int32_t>{0, 3, 3, 3}));
    // Without the trace whose axis it is, each takes the limits along.
    ASSERT_TRUE(doc = Choose("2-3"));
    EXPECT_EQ(orders(), (std::vector<int32_t>{0, 1}));
    EXPECT_EQ(doc->traces[1].axisTop, 50.0);
    EXPECT_EQ(doc->traces[1].axisLabel, "shared");
}

TEST_F(EdfSideCar, AFileThatWasMadeAnewIsMatchedByLabels) {
    SaveThreeOfEleven();
    Strings labels;
    for (int i = 1; i <= 12; ++i) labels.push_back(i == 1 ? "new" : fmt::format("s{}", i - 1));
    auto doc = Open(Signals(labels));
    ASSERT_TRUE(doc);
    EXPECT_EQ(Labels(*doc), (Strings{"s1", "s5", "mine"}));
    EXPECT_EQ(doc->traceSignals[2].index, 11);
    ASSERT_TRUE(doc = Open(Numbered(5)));
    EXPECT_EQ(Labels(*doc), (Strings{"s1", "s5"}));
    EXPECT_NE(Noticed().find("signals that this file does not have: 11 \"s11\""), std::string::npos)
        << Noticed();
    EXPECT_EQ(doc->GetParentTrace(2), -1);
}

TEST_F(EdfSideCar, OneThatDoesNotTellItsSignalsIsReadByItsLabels) {
    const struct {
        const char* what;
        Strings file, renamed;  // labels of the file, and those of the three traces that the side-car has
        const char* open;       // the signals that are asked for
        Strings traces;
        int parent;
        const char* notice;
    } cases[] = {
        {"labels say it", {"a", "b", "c", "d"}, {"a", "b", "d"}, "", {"a", "b", "d"}, 2, ""},
        {"labels say it elsewhere", {"a", "b", "c", "d"}, {"b", "c", "d"}, "4", {"d"}, 0, ""},
        {"as many as there were", {"a", "b", "c", "d"}, {"x", "y", "z"}, "2-4", {"x", "y", "z"}, 2, ""},
        {"alike", {"e", "e", "e", "e"}, {"e", "e", "e"}, "1-3", {"e", "e", "e"}, 2, ""},
        {"another number",
         {"a", "b", "c", "d"},
         {"x", "y", "z"},
         "1-2",
         {"a", "b"},
         -1,
         "\"x\", \"y\", \"z\""},
        {"another's label", {"a", "b", "c", "d"}, {"x", "y", "b"}, "2-4", {"b", "y", "d"}, 0, "\"x\""},
    };
    for (const auto& c : cases) {
        files.Put("/x.edf", Signals(c.file).Build());
        if (files.Has("/x.kymr-hdr")) files.Remove("/x.kymr-hdr");
        auto doc = Choose("2-4");
        for (size_t t = 0; t < 3; ++t) doc->traces[t].traceLabel = c.renamed[t];
        doc->AddEvent(2, {1, 2});
        doc->eventChannels[2].parentTrace = 2;
        ASSERT_TRUE(doc->OnSaveDocument());
        CutSignals();
        host.Forget();
        if (*c.open != '\0') request.settings = {{"signals", c.open}};
        doc = Reopen();
        request.settings.clear();
        ASSERT_TRUE(doc) << c.what;
        EXPECT_EQ(Labels(*doc), c.traces) << c.what;
        EXPECT_EQ(doc->GetParentTrace(2), c.parent) << c.what;
        EXPECT_NE(Noticed().find(c.notice), std::string::npos) << c.what << ": " << Noticed();
        EXPECT_EQ(Noticed().empty(), *c.notice == '\0') << c.what << ": " << Noticed();
    }
}

TEST_F(EdfSideCar, TheSignalsStandBehindAllThatOtherReadersLookAt) {
    SaveThreeOfEleven();
    const std::vector<std::byte> whole = SideCarBytes();
    CutSignals();
    const size_t end = SideCarBytes().size();
    const auto with = [&](std::vector<std::byte> tail) {
        SideCarBytes().assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(end));
        SideCarBytes().insert(SideCarBytes().end(), tail.begin(), tail.end());
        request.talk = OpenTalk::logs;
        host.Forget();
        return Reopen();
    };
    // The rest of a longer one is no signals, whatever it is.
    const auto doc = with(std::vector<std::byte>(100, std::byte{0xFF}));
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.messages.empty()) << host.LastMessage();
    constexpr size_t mostOfOwner = 30;  // behind the signals
    for (size_t cut = end + 30; cut < whole.size() - mostOfOwner; cut += 7) {
        const auto first = whole.begin() + static_cast<std::ptrdiff_t>(end);
        ASSERT_TRUE(with({first, whole.begin() + static_cast<std::ptrdiff_t>(cut)})) << cut;
        EXPECT_NE(host.LastMessage().find("could not be read"), std::string::npos) << cut;
    }
}

}  // namespace
}  // namespace kymora::test
