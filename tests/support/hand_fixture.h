#pragma once
// A recording interface that is started and stopped by hand, whose files are in memory.

#include <cstring>

#include "acquisition/hand_acq_view.h"
#include "acquisition/plain_loop.h"
#include "support/faulty_file_system.h"
#include "support/recording_run.h"
#include "support/session_fixture.h"

namespace kymora::test {

template <typename View>
struct HandTest : ::testing::Test {
    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    PlainLoop loop;
    std::unique_ptr<View> view;

    template <typename... Source>
    void Make(Source&&... source) {
        view.reset();
        view = std::make_unique<View>(session, loop, std::forward<Source>(source)...);
        view->m_temporaryFolder = "/";
    }
    void Run(const std::function<bool()>& until = [] { return false; }) { RunToEnd(loop, *view, until); }
    // The samples that were stored; 16 bits.
    std::vector<uint16_t> Values() {
        CAcqDoc& doc = view->Document();
        std::vector<uint16_t> values(static_cast<size_t>(doc.StoredScans()) * doc.m_nChannels);
        if (!values.empty())
            std::memcpy(values.data(), files.Bytes(doc.TemporaryPath()).data() + doc.m_nDataStart,
                        values.size() * sizeof(uint16_t));
        return values;
    }
    static bool Counts(const std::vector<uint16_t>& values, size_t first = 0) {
        for (size_t i = 0; i < values.size(); ++i)
            if (values[i] != static_cast<uint16_t>(first + i)) return false;
        return true;
    }
    bool WasTold(const std::string& text) const { return WasToldBy(host, text); }
};

}  // namespace kymora::test
