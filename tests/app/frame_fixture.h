#pragma once
// A main frame over files in memory, with a host that answers from a script.

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>

#include "app/main_frame.h"
#include "document/native_writer.h"
#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {

class FrameTest : public ::testing::Test {
  protected:
    void SetUp() override {
        session.skipFileDetails = true;
        session.options.expandContractFocus = 0;
        for (const char* name : {"/one.kymr-dat", "/two.kymr-dat"}) WriteRecording(name);
        frame = std::make_unique<CMainFrame>(session, nullptr);
        frame->resize(1000, 700);
        frame->show();
        QApplication::processEvents();
    }

    // Two traces of 100,000 samples of 1 ms; the stored viewport is 1000 to 3000 ms.
    void WriteRecording(const char* name) {
        auto doc = MemoryDoc::Generate(session, 2, 100000, [](int trace, int64_t index) {
            return static_cast<float>((index % 1000) - 500 + 10 * trace);
        });
        doc->view.viewStart = 1000.0;
        doc->view.viewEnd = 3000.0;
        WriteNativeFile(*doc, name);
    }

    CChildFrame& OpenOne() {
        CChildFrame* child = frame->OpenFile("/one.kymr-dat");
        EXPECT_NE(child, nullptr);
        QApplication::processEvents();
        return *child;
    }

    static void ExpectViewport(const CChildFrame& child, double start, double end) {
        EXPECT_DOUBLE_EQ(child.View().m_StartTime, start);
        EXPECT_DOUBLE_EQ(child.View().m_EndTime, end);
    }

    QAction* Action(const char* id) { return frame->findChild<QAction*>(id); }

    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    std::unique_ptr<CMainFrame> frame;
};

}  // namespace kymora::test
