#pragma once
// A recording interface with the simulated board, whose files are in memory.

#include <cstring>
#include <thread>

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/plain_loop.h"
#include "acquisition/simulated_board.h"
#include "support/faulty_file_system.h"
#include "support/recording_run.h"
#include "support/session_fixture.h"

namespace kymora::test {

struct EngineTest : ::testing::Test {
    TestHost host;
    MemoryFileSystem files;
    FaultyFileSystem faulty{files};
    Session session{host, faulty};
    PlainLoop loop;
    SimulatedBoardSettings board;
    std::unique_ptr<CDTGenAcqView> view;

    static constexpr const char* out = "/out.kymr-rec";

    EngineTest() {
        board.input = SimulatedInput::counter;
        board.speed = 10.0;
        // The machine may be busy; what is late on purpose says so.
        board.waitsForBuffers = true;
        loop.m_dTimerScale = 0.02;
    }

    // One channel at 1 kHz for 0.2 s.
    void Open(int channels = 1) {
        view.reset();
        view = std::make_unique<CDTGenAcqView>(session, loop, std::make_unique<SimulatedBoard>(board));
        ASSERT_TRUE(view->OpenBoard()) << host.LastMessage();
        AcquisitionSettings& settings = view->m_settings;
        settings.m_dSampleInterval = 1.0;
        settings.m_dTimeLimit = 0.2;
        for (size_t i = 0; i < settings.channels.size(); ++i)
            settings.channels[i].m_nChanOn = i < static_cast<size_t>(channels);
        view->m_temporaryFolder = "/";
        view->m_saveAs = out;
        view->m_saveAsStamp = files.Stamp(out);
    }
    SimulatedBoard& Simulated() { return static_cast<SimulatedBoard&>(view->GetBoard()); }

    void Run(const std::function<bool()>& until = [] { return false; }) { RunToEnd(loop, *view, until); }
    bool RunWhole() {
        if (!view->OnAcqStart()) return false;
        Run();
        if (view->HasUnsaved()) view->OnSave();
        return !view->HasFailed();
    }
    std::unique_ptr<CAcqDoc> Saved(const std::filesystem::path& path = out) {
        auto doc = std::make_unique<CAcqDoc>(session);
        EXPECT_TRUE(doc->OnOpenDocument(path, OpenFor::reading)) << path << ": " << host.LastMessage();
        return doc;
    }
    // The codes of a saved recording, as they stand in it.
    std::vector<uint32_t> Codes(const std::filesystem::path& path = out) {
        const auto doc = Saved(path);
        const auto width = static_cast<size_t>(doc->BytesPerSample());
        std::vector<uint32_t> codes(static_cast<size_t>(doc->GetLength()) * doc->m_nChannels);
        for (size_t i = 0; i < codes.size(); ++i)
            std::memcpy(&codes[i], files.Bytes(path).data() + doc->m_nDataStart + i * width, width);
        return codes;
    }
    // How many codes differ from a counter that begins at `first`.
    static int64_t Lost(const std::vector<uint32_t>& codes, uint32_t mask, uint32_t first = 0) {
        int64_t wrong = 0;
        for (size_t i = 0; i < codes.size(); ++i)
            wrong += codes[i] != ((first + static_cast<uint32_t>(i)) & mask);
        return wrong;
    }
    bool WasTold(const std::string& text) const { return WasToldBy(host, text); }
};

}  // namespace kymora::test
