#pragma once
// An operation that has a parameter of every kind, and its window over a recording in memory.

#include <gtest/gtest.h>

#include <QApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include "catalogue/windows/event_base_non_modal_dlg.h"
#include "document/undo.h"
#include "host/memory_file_system.h"
#include "operations/event_base_dlg.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {

class CTestOperation : public CBatchBaseDlg {
  public:
    const char* ClassName() const override { return "CTestOperation"; }
    const char* Title() const override { return "Test Operation"; }
    const char* ActionLabel() const override { return "Measure"; }

    void Serialize(CArchive& archive) override {
        CBatchBaseDlg::Serialize(archive);
        Exchange(archive, onLevel);
        Exchange(archive, offLevel);
        Exchange(archive, equal);
        Exchange(archive, name);
    }
    void GetParamText(std::string& text) override { text += "test\r\n"; }
    void CheckChangeDoc(CDataDoc* doc) override {
        CBatchBaseDlg::CheckChangeDoc(doc);
        ++docChanges;
    }
    void OnUpdate(UpdateHint hint) override { updates.push_back(hint); }
    void OnCurChanged() override { ++cursorMoves; }
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override {
        for (int i = 0; i < resultLines; ++i)
            if (!sink("12345678\tline " + std::to_string(i) + "\r\n")) return;
    }
    std::vector<ViewGuide> Guides() override {
        return {{ViewGuide::Kind::level, trace, static_cast<double>(onLevel), 0xFF, {}, guided}};
    }
    std::optional<Graph> GetGraph() override {
        ++graphs;
        if (failsToDraw) throw FileError("The disk is gone.", 0);
        Graph graph;
        GraphPane& pane = graph.panes.emplace_back();
        pane.x = {"time", "ms"};
        pane.layers.push_back({LayerKind::curve, "data", 0, {0, 1, 2, 3}, {0, 5, -5, 0}});
        pane.lines = {{false, static_cast<double>(onLevel), 0xFF, "On", "onLevel"},
                      {false, offLevel, 0xFF, "Off", "offLevel"}};
        pane.lowerParameter = "low";
        pane.upperParameter = "high";
        pane.autoParameter = "equal";
        return graph;
    }

    float onLevel = 0.1f;
    double offLevel = 2.5;
    bool equal = false, isOn = true;
    double extra = 7.0, low = 1.0, high = 2.0;
    std::string levelUnit = "mV";
    int32_t count = 3, source = 0, region = 0, channel = 1, destination = 2, trace = 0;
    std::string name = "a\xC3\xA9 & b";
    std::vector<int> channels{0, 1, 2, 30}, traces{0, 2};
    int pressed = 0, runs = 0, cursorMoves = 0, docChanges = 0, graphs = 0, resultLines = 3;
    bool failsToDraw = false;
    std::string settingsFault, guided = "onLevel";
    std::vector<UpdateHint> updates;
    int64_t jobSamples = 0;
    std::function<void(JobContext&)> during;  // the work of its job

  protected:
    void Describe(ParamList& list) override {
        list.Group("Levels");
        list.Number("onLevel", "On level", onLevel)
            .Unit("mV")
            .Step(0.5)
            .Limits(-10.0, 10.0)
            .Linked({"offLevel"})
            .Tip("Where an event begins")
            .OnChange([this] {
                if (equal) offLevel = static_cast<double>(onLevel);
            });
        list.Number("offLevel", "Off level", offLevel).EnabledIf([this] { return !equal; });
        list.Flag("equal", "Off equals on", equal).OnChange([this] { offLevel = 0.25; });
        list.Integer("count", "Count", count).Limits(0, 20);
        list.Group("Source");
        list.Choice("source", "From", source, {"direct value", "mean", "median"});
        list.Choice("region", "Region", region, {"whole file", "user set"}).Buttons().Tip("All; Part");
        list.Channel("channel", "Channel", channel).Shows([this] {
            return EventCountText(Document(), channel);
        });
        list.Trace("trace", "Trace", trace);
        list.Channels("channels", "Channels", channels);
        list.Traces("traces", "Traces", traces);
        list.Note("told", "Told", [this] { return "pressed " + std::to_string(pressed); });
        list.Action("press", "Press", [this] { ++pressed; });
        list.Group("Destination");
        list.Channel("destination", "Destination channel", destination);
        list.Text("name", "Name", name);
        list.Flag("isOn", "On", isOn);
        list.Number("low", "Lower level", low).Unit(levelUnit).Cell("Level", "Lower");
        list.Number("high", "Upper level", high).Unit(levelUnit).Cell("Level", "Upper");
        if (source == 2) list.Number("extra", "Extra", extra);
        list.Group("Results");
        list.Action("saveResults", "Save results", [this] { ++pressed; });
    }
    std::string CheckSettings() override { return settingsFault; }
    std::unique_ptr<OperationJob> MakeJob() override {
        auto job = std::make_unique<Job>();
        job->samples = jobSamples;
        job->during = during;
        job->writes = {destination};
        return job;
    }
    bool Analyse(UndoScope& undo) override {
        ++runs;
        undo.KeepChannel(destination);
        Document()->AddEvent(destination, {10 * runs, 10 * runs + 5, 0.0f});
        Document()->UpdateAllViews(UpdateHint::events);
        return true;
    }

  private:
    struct Job : OperationJob {
        int64_t samples = 0;
        std::function<void(JobContext&)> during;
        int64_t Samples() const override { return samples; }
        void Compute(SampleReader&, JobContext& context) override {
            if (during) during(context);
        }
    };
};

inline const Operation testOperation{
    "CTestOperation", "&Test", "&Test...", "A test of everything",
    [] { return std::unique_ptr<CBatchBaseDlg>(std::make_unique<CTestOperation>()); }};

class GuideView : public DocumentView {
  public:
    DisplaySettings GetDisplaySettings() const override { return {}; }
    void OnUpdate(UpdateHint hint) override {
        if (updated) updated(hint);
    }
    void SetGuides(std::vector<ViewGuide> set, GuideMoved does) override {
        guides = std::move(set);
        moved = std::move(does);
    }
    std::vector<ViewGuide> guides;
    GuideMoved moved;
    std::function<void(UpdateHint)> updated;
};

class OperationWindowTest : public ::testing::Test {
  protected:
    void SetUp() override {
        doc = MemoryDoc::Generate(session, 3, 1000, [](int, int64_t i) { return static_cast<float>(i); });
        doc->filePath = "/data/rec.kymr-dat";
    }
    void TearDown() override { Close(); }
    CTestOperation& Open(bool withDoc = true) {
        window = new CEventBaseNonModalDlg(session, testOperation, std::make_unique<CTestOperation>());
        if (withDoc) window->SetActive(doc.get(), &view);
        window->show();
        window->activateWindow();
        QApplication::processEvents();
        return Block();
    }
    void Close() {
        if (window) window->close();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
    CTestOperation& Block() { return static_cast<CTestOperation&>(window->Block()); }
    template <typename Widget>
    Widget* Find(const char* key) {
        auto* widget = window->findChild<Widget*>(key);
        if (!widget) throw std::runtime_error(std::string("no widget ") + key);
        return widget;
    }
    void Type(const char* key, const char* text) {
        auto* edit = Find<QLineEdit>(key);
        edit->setFocus();
        edit->selectAll();
        if (!*text) QTest::keyClick(edit, Qt::Key_Delete);
        QTest::keyClicks(edit, text);
    }
    std::string Text(const char* key) { return Find<QLineEdit>(key)->text().toStdString(); }
    std::string Message() { return Find<QLabel>("message")->text().toStdString(); }
    bool IsMarked(const char* key) { return !Find<QWidget>(key)->styleSheet().isEmpty(); }

    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    std::unique_ptr<MemoryDoc> doc;
    GuideView view;
    QPointer<CEventBaseNonModalDlg> window;
};

}  // namespace kymora::test
