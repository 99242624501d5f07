#pragma once
// A small operation with a parameter of every kind, for tests of the frame around operations.

#include <functional>

#include "operations/event_base_dlg.h"

namespace kymora::test {

// Writes one event over its region into the destination.
class TestOperation : public CEventWndBaseDlg {
  public:
    TestOperation() : CEventWndBaseDlg(usesChannel1 | usesTrace | usesDestination | usesText) {
        m_nDestination = 5;
    }
    const char* ClassName() const override { return "CTestOperation"; }
    const char* Title() const override { return "Test operation"; }

    void Serialize(CArchive& archive) override {
        CEventWndBaseDlg::Serialize(archive);
        ExchangeVersion(archive, 1, ClassName());
        Exchange(archive, m_dLevel);
        Exchange(archive, m_fFactor);
        Exchange(archive, m_nKind);
        Exchange(archive, m_bLinked);
    }
    void GetParamText(std::string& text) override {
        CEventWndBaseDlg::GetParamText(text);
        text += "Test\r\n";
    }

    double m_dLevel = 1.5;
    float m_fFactor = 2.0f, m_fFollower = 2.0f;
    int32_t m_nKind = 0, m_nCount = 3;
    bool m_bLinked = true;
    std::vector<int> m_traces;

    std::function<void(SampleReader&, JobContext&)> during;  // the work of its job
    std::function<bool()> then;                              // after it has written; false abandons
    std::vector<int> channelChanges;                         // that OnEventChanChanged heard of
    int traceChanges = 0;

  protected:
    void Describe(ParamList& list) override {
        DescribeSource(list);
        list.Group("Settings");
        list.Number("level", "Level", m_dLevel).Unit("mV").Limits(-10, 10).Step(0.5).Tip("A level");
        list.Number("factor", "Factor", m_fFactor)
            .Alias("multiplier")
            .Limits(0, 100)
            .Linked({"follower"})
            .OnChange([this] {
                if (m_bLinked) m_fFollower = m_fFactor;
            });
        list.Number("follower", "Follower", m_fFollower).EnabledIf([this] { return !m_bLinked; });
        list.Flag("linked", "Follow", m_bLinked);
        list.Choice("kind", "Kind", m_nKind, {"first", "second kind", "third"});
        list.Integer("count", "Count", m_nCount).Limits(1, 9);
        list.Traces("traces", "Traces", m_traces);
        list.Note("note", "Note", [this] { return std::to_string(m_dLevel); });
        list.Action("reset", "Reset", [this] { m_dLevel = 0.0; });
        DescribeRegion(list);
        DescribeDestination(list);
    }
    void OnEventChanChanged(int channel) override {
        channelChanges.push_back(channel);
        CEventWndBaseDlg::OnEventChanChanged(channel);
    }
    void OnParentTraceChanged() override { ++traceChanges; }
    std::unique_ptr<OperationJob> MakeJob() override {
        auto job = std::make_unique<Job>();
        if (!TakeRegion(*job)) return nullptr;
        job->method = methodThreshold;
        job->during = during;
        AddTarget(*job, m_nDestination, m_nTrace, m_strDescription);
        return job;
    }
    bool Write(OperationJob& job, UndoScope& undo) override {
        return CEventWndBaseDlg::Write(job, undo) && (!then || then());
    }

  private:
    struct Job : EventJob {
        std::function<void(SampleReader&, JobContext&)> during;
        void Compute(SampleReader& samples, JobContext& context) override {
            if (during) during(samples, context);
            found.front().events.push_back({region.first, region.end, -1.0f});
        }
    };
};

}  // namespace kymora::test
