// Any bytes as what a sender writes, in pieces, first without and then with the token.

#include <algorithm>
#include <map>
#include <vector>

#include "catalogue/operations.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "remote/line_buffer.h"
#include "remote/remote_session.h"

namespace {

class ShortDoc : public kymora::CDataDoc {
  public:
    explicit ShortDoc(kymora::Session& session) : CDataDoc(session) {
        traceCount = 2;
        SetLength(100);
        filePath = "/x.edf";
        UpdateGapFlags();
        AllocateBuffers();
    }

  protected:
    void Load() override {}
    void ReadStored(int64_t, std::span<const StoredRead> pieces) override {
        for (const StoredRead& piece : pieces) std::fill(piece.values.begin(), piece.values.end(), 1.0f);
    }
};

// One recording, and windows that agree to everything.
class OneView : public kymora::RemoteTarget {
  public:
    explicit OneView(kymora::Session& session) : session_(session), doc_(session), view_(doc_) {
        view_.OnSize(600, 400);
        view_.OnInitialUpdate();
    }
    kymora::Session& GetSession() override { return session_; }
    std::vector<kymora::CKymoraView*> Views() override { return {&view_}; }
    int Active() override { return 0; }
    void Activate(int) override {}
    int Open(const std::filesystem::path&, bool) override { return -1; }
    bool Close(int) override { return false; }
    bool Save(int) override { return doc_.SaveModified(); }
    bool SaveAs(int) override { return session_.host.ChooseSaveFile({}).has_value(); }
    std::vector<kymora::RemoteCommand> FrameCommands() override { return {}; }
    kymora::CommandResult RunFrameCommand(std::string_view) override {
        return kymora::CommandResult::unknown;
    }
    kymora::Extent WindowSize() override { return {600, 400}; }
    void Resize(kymora::Extent size) override { view_.OnSize(size.width, size.height); }
    std::vector<std::byte> Picture(int) override { return std::vector<std::byte>(100); }
    bool PressKey(int, std::string_view) override { return true; }
    void MoveMouse(int, const kymora::RemoteMouse& mouse) override {
        if (mouse.type == kymora::RemoteMouse::Type::press) view_.Mouse().Down(mouse.event);
        if (mouse.type == kymora::RemoteMouse::Type::move) view_.Mouse().Move(mouse.event);
        if (mouse.type == kymora::RemoteMouse::Type::release) view_.Mouse().Up(mouse.event);
        if (mouse.type == kymora::RemoteMouse::Type::doubleClick) view_.Mouse().DoubleClick(mouse.event);
    }
    kymora::CBatchBaseDlg& OpenOperation(const kymora::Operation& operation) override {
        auto& block = operations_[&operation];
        if (!block) block = operation.make();
        block->CheckChangeDoc(&doc_);
        block->CheckChangeView(&view_);
        return *block;
    }
    void OperationChanged(const kymora::Operation&) override {}
    bool RunOperation(const kymora::Operation& operation) override { return operations_[&operation]->Run(); }
    void CloseOperation(const kymora::Operation& operation) override { operations_.erase(&operation); }
    std::vector<std::byte> OperationPicture(const kymora::Operation&) override { return {}; }
    std::vector<std::byte> PreviewPicture(const kymora::Operation&) override { return {}; }
    std::string OpenDialog() override { return {}; }
    bool Quit() override { return doc_.SaveModified(); }

  private:
    kymora::Session& session_;
    ShortDoc doc_;
    kymora::CKymoraView view_;
    std::map<const kymora::Operation*, std::unique_ptr<kymora::CBatchBaseDlg>> operations_;
};

void Drive(kymora::RemoteSession& session, std::string_view text) {
    kymora::LineBuffer lines(kymora::longestRequest);
    for (size_t at = 0; at < text.size(); at += 512) {
        lines.Append(text.substr(at, 512));
        while (const auto line = lines.Next()) {
            const kymora::RemoteReply reply = session.Take(*line);
            if (reply.waits) session.FinishWait(true);
            if (reply.ends) return;
        }
        if (lines.IsTooLong()) return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    kymora::QuietHost person;
    kymora::RemoteHost host(person);
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    OneView target(session);

    kymora::RemoteSession stranger(target, host, "0123456789abcdef0123456789abcdef");
    Drive(stranger, text);
    if (stranger.IsAdmitted()) __builtin_trap();  // no seed holds it
    kymora::RemoteSession known(target, host, "t");
    known.Take(R"({"token":"t"})");
    Drive(known, text);
    return 0;
}
