// The strip that tells of a long reading, on a real widget with a real second thread.

#include "display/windows/reload_strip.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QPushButton>
#include <QTest>

#include "display/windows/view_widget.h"
#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "summaries/summary_service.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

// Files whose reading takes its time.
class SlowFiles : public DiskFileSystem {
  public:
    std::atomic<int> sleepMs{0};

    std::unique_ptr<DataFile> Open(const std::filesystem::path& path, OpenMode mode) override {
        return std::make_unique<Slow>(DiskFileSystem::Open(path, mode), sleepMs);
    }

  private:
    class Slow : public DataFile {
      public:
        Slow(std::unique_ptr<DataFile> file, std::atomic<int>& sleepMs)
            : file_(std::move(file)), sleepMs_(sleepMs) {}
        size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
            if (sleepMs_ > 0) std::this_thread::sleep_for(std::chrono::milliseconds(sleepMs_));
            return file_->ReadAt(offset, to);
        }
        void WriteAt(uint64_t offset, std::span<const std::byte> from) override {
            file_->WriteAt(offset, from);
        }
        uint64_t Length() const override { return file_->Length(); }
        void Truncate(uint64_t length) override { file_->Truncate(length); }
        void Sync() override { file_->Sync(); }
        bool IsWritable() const override { return file_->IsWritable(); }
        bool TryLock() override { return file_->TryLock(); }
        FileStamp Stamp() const override { return file_->Stamp(); }

      private:
        std::unique_ptr<DataFile> file_;
        std::atomic<int>& sleepMs_;
    };
};

class ReloadStripTest : public ::testing::Test {
  protected:
    TempFolder temp;
    SlowFiles files;
    TestHost host;
    Session session{host, files};
    SummaryService service{files, {temp.Path() / "cache", uint64_t{1} << 30, 1000}};
    std::unique_ptr<CDataDoc> doc;
    std::unique_ptr<CKymoraView> view;
    std::unique_ptr<ViewWidget> widget;

    void SetUp() override {
        session.summaries = &service;
        const auto path = temp / "a.kymr-dat";
        WriteNativeFile(
            *MemoryDoc::Generate(session, 1, 3000000, [](int, int64_t i) { return i % 100 * 1.0f; }), path);
        files.sleepMs = 10;  // the whole is some fifty readings
        doc = OpenDocument(session, path, OpenFor::reading);
        ASSERT_TRUE(doc);
        view = std::make_unique<CKymoraView>(*doc);
        widget = std::make_unique<ViewWidget>(*view);
        widget->resize(800, 400);
        widget->show();
        view->OnInitialUpdate(Viewport{0.0, 500.0});
    }
    void TearDown() override {
        files.sleepMs = 0;
        widget.reset();
        view.reset();
        session.summaries = nullptr;
    }
    QWidget* Strip() const { return widget->findChild<QWidget*>("reloadStrip"); }
};

TEST_F(ReloadStripTest, ShowsWhileALongStretchIsReadAndGoesWhenItIsThere) {
    QElapsedTimer time;
    time.start();
    view->Go(&Navigation::ShowAll);
    EXPECT_LT(time.elapsed(), 300);
    ASSERT_TRUE(view->IsReloading());
    EXPECT_TRUE(QTest::qWaitFor([&] { return Strip()->isVisible(); }, 5000));
    files.sleepMs = 0;
    EXPECT_TRUE(QTest::qWaitFor([&] { return !view->IsReloading(); }, 20000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !Strip()->isVisible(); }, 1000));
    EXPECT_FALSE(view->Plot().bins.IsCoarse());
    EXPECT_EQ(view->Plot().bins.Max(0)[0], 99.0f);
}

TEST_F(ReloadStripTest, CancelAndEscapePutTheViewBack) {
    for (const bool byKey : {false, true}) {
        view->Go(&Navigation::ShowAll);
        ASSERT_TRUE(view->IsReloading());
        ASSERT_TRUE(QTest::qWaitFor([&] { return Strip()->isVisible(); }, 5000));
        if (byKey)
            QTest::keyClick(widget.get(), Qt::Key_Escape);
        else
            QTest::mouseClick(widget->findChild<QPushButton*>("cancelReload"), Qt::LeftButton);
        EXPECT_FALSE(view->IsReloading());
        EXPECT_EQ(view->GetViewport(), (Viewport{0.0, 500.0}));
        EXPECT_TRUE(QTest::qWaitFor([&] { return !Strip()->isVisible(); }, 1000));
    }
}

}  // namespace
}  // namespace kymora::test
