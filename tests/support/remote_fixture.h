#pragma once
// A remote session over views in memory, without windows and sockets.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "catalogue/operations.h"
#include "document/float_doc.h"
#include "remote/remote_session.h"
#include "support/view_fixture.h"

namespace kymora::test {

class MemoryRemote : public RemoteTarget {
  public:
    explicit MemoryRemote(Session& session) : session_(session) {}

    void Add(std::unique_ptr<CDataDoc> doc) {
        shown_.push_back({std::move(doc), nullptr});
        shown_.back().view = std::make_unique<CKymoraView>(*shown_.back().doc);
        shown_.back().view->OnSize(900, 560);
        shown_.back().view->OnInitialUpdate();
        active = static_cast<int>(shown_.size()) - 1;
    }

    Session& GetSession() override { return session_; }
    std::vector<CKymoraView*> Views() override {
        std::vector<CKymoraView*> views;
        for (const Shown& shown : shown_) views.push_back(shown.view.get());
        return views;
    }
    int Active() override { return active; }
    void Activate(int index) override { active = index; }
    int Open(const std::filesystem::path& path, bool) override {
        if (path != "/good") {
            session_.host.Message("Cannot open " + path.string(), "Kymora");
            return -1;
        }
        auto doc = MemoryDoc::Make(session_, {{1.0f, 2.0f, 3.0f}});
        doc->filePath = path;
        Add(std::move(doc));
        return active;
    }
    bool Close(int index) override {
        if (!shown_[static_cast<size_t>(index)].doc->SaveModified()) return false;
        operations.clear();
        shown_.erase(shown_.begin() + index);
        active = shown_.empty() ? -1 : 0;
        return true;
    }
    bool Save(int) override { return true; }
    bool SaveAs(int) override {
        const auto chosen = session_.host.ChooseSaveFile({"Save As", {}, "kymr-dat", {}});
        if (chosen) savedAs = *chosen;
        return chosen.has_value();
    }
    std::vector<RemoteCommand> FrameCommands() override {
        return {{"frame", "File", "Frame", "Ctrl+F", "Does it"}};
    }
    CommandResult RunFrameCommand(std::string_view id) override {
        if (id != "frame") return CommandResult::unknown;
        ++frameRuns;
        return CommandResult::done;
    }
    Extent WindowSize() override { return size; }
    void Resize(Extent wanted) override { size = wanted; }
    std::vector<std::byte> Picture(int) override {
        return {std::byte{'M'}, std::byte{'a'}, std::byte{'n'}, std::byte{'y'}};
    }
    CBatchBaseDlg& OpenOperation(const Operation& operation) override {
        std::unique_ptr<CBatchBaseDlg>& block = operations[std::string(operation.className)];
        if (!block) block = operation.make();
        if (!block->NeedsRecording()) {
            block->CheckChangeDoc(&blank_);
            return *block;
        }
        CKymoraView& view = *shown_[static_cast<size_t>(active)].view;
        block->CheckChangeDoc(&view.GetDocument());
        block->CheckChangeView(&view);
        return *block;
    }
    void OperationChanged(const Operation&) override {}
    bool RunOperation(const Operation& operation) override {
        return operations[std::string(operation.className)]->Run();
    }
    void CloseOperation(const Operation& operation) override {
        operations.erase(std::string(operation.className));
    }
    std::vector<std::byte> OperationPicture(const Operation&) override { return {std::byte{'p'}}; }
    std::vector<std::byte> PreviewPicture(const Operation& operation) override {
        if (operation.make()->WhatItAffects() != Affects::traces) return {};
        return {std::byte{'v'}};
    }
    bool PressKey(int, std::string_view name) override {
        keys.emplace_back(name);
        return name != "nonsense";
    }
    void MoveMouse(int, const RemoteMouse& mouse) override { mouseEvents.push_back(mouse); }
    std::string OpenDialog() override { return dialog; }
    bool Quit() override {
        for (const Shown& shown : shown_)
            if (!shown.doc->SaveModified()) return false;
        return true;
    }

    std::map<std::string, std::unique_ptr<CBatchBaseDlg>> operations;  // that are open
    int active = -1;
    int frameRuns = 0;
    Extent size{1000, 700};
    std::string dialog;
    std::vector<std::string> keys;
    std::vector<RemoteMouse> mouseEvents;
    std::filesystem::path savedAs;

  private:
    struct Shown {
        std::unique_ptr<CDataDoc> doc;
        std::unique_ptr<CKymoraView> view;
    };
    Session& session_;
    CFloatDoc blank_{session_};  // for operations that need no recording
    std::vector<Shown> shown_;
};

class RemoteTest : public ::testing::Test {
  protected:
    using Json = nlohmann::json;

    // A recording of two traces, 100,000 samples of 0.5 ms.
    void SetUp() override {
        auto doc = MemoryDoc::Generate(
            session, 2, 100000, [](int trace, int64_t i) { return static_cast<float>(i % 100 + trace); },
            0.5);
        doc->filePath = "/one.kymr-dat";
        target.Add(std::move(doc));
        EXPECT_EQ(Json::parse(remote.Take(R"({"token":"secret"})").line)["ok"], true);
        person.Forget();
    }

    // The answer of a request that may succeed or fail, but not end the connection.
    Json Ask(const std::string& line) {
        const RemoteReply reply = remote.Take(line);
        EXPECT_FALSE(reply.ends) << line;
        EXPECT_FALSE(reply.waits) << line;
        EXPECT_EQ(reply.line.find('\n'), std::string::npos);
        return Json::parse(reply.line);
    }
    Json AskWell(const std::string& line) {
        Json answer = Ask(line);
        EXPECT_EQ(answer["ok"], true) << line << "\n" << answer;
        return answer;
    }
    // The error of a request that is refused.
    std::string Refused(const std::string& line) {
        const Json answer = Ask(line);
        EXPECT_EQ(answer["ok"], false) << line;
        return answer.value("error", "");
    }
    CKymoraView& View(int index = 0) { return *target.Views().at(static_cast<size_t>(index)); }
    CDataDoc& Doc() { return View().GetDocument(); }

    TestHost person;
    RemoteHost host{person};
    MemoryFileSystem files;
    Session session{host, files};
    MemoryRemote target{session};
    RemoteSession remote{target, host, "secret"};
};

}  // namespace kymora::test
