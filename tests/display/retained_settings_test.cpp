// What a recording that opens takes from the view in front.

#include "display/retained_settings.h"

#include <gtest/gtest.h>

#include "display/trace_format.h"
#include "host/form.h"
#include "support/memory_doc.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

// The settings of a trace, a channel and the view as texts, one for each choice but the size of the window.
std::vector<std::string> Told(const CDataDoc& doc) {
    const TraceSettings& trace = doc.traces[1];
    const CEventChan& chan = doc.eventChannels[3];
    const StoredView& view = doc.view;
    const TraceFormat format = FormatOfStored(trace.traceExtraA, trace.traceExtraB);
    const auto text = [](auto value) { return std::to_string(value); };
    return {text(view.timebaseMode) + text(view.timeUnit),
            text(view.viewStart) + text(view.viewEnd),
            text(trace.traceGain),
            text(trace.axisTop) + text(trace.axisBottom),
            text(trace.traceOrder),
            text(trace.traceVisible),
            text(trace.traceColour),
            trace.traceLabel,
            trace.axisLabel,
            text(format.drawAsDots) + text(format.lineWidth),
            text(chan.channelVisible),
            text(chan.GetDisplayPosition()),
            text(chan.channelColour),
            chan.channelLabel,
            text(view.showEventChanLabels),
            chan.channelComment,
            text(chan.parentTrace),
            "size",
            text(format.dotSize),
            text(view.showEvents),
            text(view.showMarkers),
            text(view.showAxes),
            text(view.showSlider),
            text(view.showTraceLabels),
            text(view.showTraceIds),
            text(view.showTraceAnnotations),
            text(view.showScaleBars),
            text(view.showGrid)};
}

struct RetainedSettings : SessionTest {
    std::unique_ptr<MemoryDoc> Make() {
        return MemoryDoc::Make(session, {std::vector<float>(100), std::vector<float>(100)});
    }
    // Everything is other than it is by default.
    std::unique_ptr<MemoryDoc> MakeFront() {
        auto doc = Make();
        TraceSettings& trace = doc->traces[1];
        trace = {1, 7.0, -7.0, 0, "label", "mV", "axis", 0x123456, 0, 2.5, 0, 1};
        StoreFormat({true, 5, 3, false}, trace.traceExtraA, trace.traceExtraB);
        CEventChan& chan = doc->eventChannels[3];
        chan.channelVisible = 0;
        chan.SetDisplayPosition(0.7);
        chan.channelColour = 0x654321;
        chan.channelLabel = "events";
        chan.channelComment = "why";
        chan.parentTrace = 1;
        StoredView& view = doc->view;
        view.timebaseMode = view.timeUnit = 1;
        view.viewStart = 3.0, view.viewEnd = 30.0;
        for (auto member :
             {&StoredView::showEventChanLabels, &StoredView::showEvents, &StoredView::showMarkers,
              &StoredView::showAxes, &StoredView::showSlider, &StoredView::showTraceLabels,
              &StoredView::showTraceIds, &StoredView::showTraceAnnotations, &StoredView::showScaleBars,
              &StoredView::showGrid})
            view.*member = 0;
        return doc;
    }
    static DisplaySettings ShownOf(const CDataDoc& doc) {
        DisplaySettings shown{doc.view, {}};
        for (size_t t = 0; t < 2; ++t) {
            const TraceSettings& trace = doc.traces[t];
            shown.traces.push_back({trace.traceAutoscale, trace.axisTop, trace.axisBottom, trace.traceOrder,
                                    trace.traceVisible, trace.traceExtraA, trace.traceExtraB});
        }
        return shown;
    }
};

TEST_F(RetainedSettings, EachChoiceTakesItsOwn) {
    const auto front = MakeFront();
    const auto wanted = Told(*front), before = Told(*Make());
    ASSERT_EQ(wanted.size(), size_t{retainedChoices});
    for (int choice = 0; choice < retainedChoices; ++choice) {
        const auto opened = Make();
        CRetainSettings(uint32_t{1} << choice).Apply(*front, ShownOf(*front), *opened);
        auto expected = before;
        expected[static_cast<size_t>(choice)] = wanted[static_cast<size_t>(choice)];
        EXPECT_EQ(Told(*opened), expected) << choice;
        EXPECT_EQ(expected == before, wanted[static_cast<size_t>(choice)] == "size") << choice;
        EXPECT_FALSE(opened->IsModified());
    }
    EXPECT_EQ(front->traces[1].traceAutoscale, 1);
}

TEST_F(RetainedSettings, WhatHasNoCounterpartStays) {
    const auto front = MakeFront();
    front->eventChannels[3].channelLocked = true;  // of the front's events, and no matter here
    const auto small = MemoryDoc::Make(session, {std::vector<float>(100)});
    small->eventChannels[3].channelLocked = true;
    CRetainSettings((1u << retainedChoices) - 1).Apply(*front, ShownOf(*front), *small);
    EXPECT_EQ(small->traces[1].traceLabel, Make()->traces[1].traceLabel);
    EXPECT_EQ(small->eventChannels[3].channelLabel, "");
    EXPECT_EQ(small->eventChannels[3].channelComment, "");
    EXPECT_EQ(small->eventChannels[3].channelVisible, 0) << "a lock does not protect the looks";
    EXPECT_EQ(small->eventChannels[3].channelColour, 0x654321u);
    EXPECT_TRUE(small->eventChannels[3].channelLocked);
    small->eventChannels[3].channelLocked = false;
    CRetainSettings((1u << retainedChoices) - 1).Apply(*front, ShownOf(*front), *small);
    EXPECT_EQ(small->eventChannels[3].parentTrace, -1) << "it has no second trace";
    EXPECT_EQ(small->eventChannels[3].channelLabel, "events");
}

TEST_F(RetainedSettings, TheDialogSetsAndClearsAll) {
    host.fillForms.push_back([](Form& form) {
        EXPECT_EQ(form["settings"].checks.size(), size_t{retainedChoices});
        form["all"].action(form);
        form["settings"].checks[0] = 0;
        return true;
    });
    CRetainSettings settings(1);
    ASSERT_TRUE(settings.Ask(host));
    EXPECT_EQ(settings.m_choices, (1u << retainedChoices) - 2);
    host.fillForms.push_back([](Form& form) {
        form["none"].action(form);
        return true;
    });
    ASSERT_TRUE(settings.Ask(host));
    EXPECT_EQ(settings.m_choices, 0u);
}

}  // namespace
}  // namespace kymora::test
