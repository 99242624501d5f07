// How a view shows long stretches: coarse at once, exact when another thread has read them, and as before
// after a cancel.

#include "display/kymora_view.h"

#include <thread>

#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "support/bin_checks.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

struct CountingWindow : ViewWindow {
    int painted = 0;
    void Invalidate() override { ++painted; }
    void ShowTimes() override {}
    void LayoutChanged() override {}
};

class ViewReloadTest : public ::testing::Test {
  protected:
    TempFolder temp;
    DiskFileSystem disk;
    TestHost host;
    Session session{host, disk};
    std::mt19937 random{4};
    CountingWindow window;

    // Too long to be read at once, but made of nothing: the file is sparse where it can be.
    std::unique_ptr<CDataDoc> LongRecording(int64_t length = 80'000'000) {
        const auto path = temp / "long.kymr-dat";
        if (!std::filesystem::exists(path)) {
            const auto model =
                MemoryDoc::Generate(session, 1, 1000, [](int, int64_t i) { return i % 7 * 1.0f; });
            WriteNativeFile(*model, path);
            Stretch(path, *model, length);
        }
        return OpenDocument(session, path, OpenFor::reading);
    }
    // Rewrites the file with its thousand samples in front and zeros up to `length`.
    void Stretch(const std::filesystem::path& path, CDataDoc& model, int64_t length) {
        model.SetLength(length);
        std::filesystem::remove(path);
        const auto file = disk.Open(path, OpenMode::createNew);
        CArchive archive(*file, CArchive::Mode::store, 0, size_t{1} << 20);
        WriteHead(archive, model);
        archive.Flush();
        const uint64_t start = archive.Position();
        std::vector<float> samples(1000);
        for (size_t i = 0; i < 1000; ++i) samples[i] = static_cast<float>(i % 7);
        archive.WriteRaw(std::as_bytes(std::span(samples)));
        archive.Flush();
        archive.Seek(start + static_cast<uint64_t>(length) * sizeof(float));
        WriteTail(archive, model, "long");
        archive.Close();
    }
    SummarySettings Settings() const {
        return {temp.Path() / "cache", uint64_t{1} << 30, 1000, uint64_t{64} << 20};
    }

    // A long recording with the service of its summaries, and a view in a window from 0 to `endMs`, or of
    // all.
    struct Scene {
        explicit Scene(ViewReloadTest& test, double endMs = 0.0)
            : doc(test.LongRecording()), service(test.disk, test.Settings()), view(*doc) {
            test.session.summaries = &service;
            view.SetWindow(&test.window);
            view.OnSize(800, 400);
            complete = view.OnInitialUpdate(Viewport{0.0, endMs > 0.0 ? endMs : doc->GetEndTime()});
        }
        std::unique_ptr<CDataDoc> doc;
        SummaryService service;
        CKymoraView view;
        bool complete = false;
    };

    static bool WaitForExact(CKymoraView& view) {
        for (int i = 0; i < 20000 && view.IsReloading(); ++i) {
            view.PollReload();
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        return !view.IsReloading();
    }
    static void ExpectExact(const CKymoraView& view) {
        const DisplayCache& cache = view.Plot().bins;
        ASSERT_FALSE(cache.IsCoarse());
        Bins plain;
        CDataDoc& doc = view.GetDocument();
        ASSERT_TRUE(ReadBins(doc, DisplayCache::FirstSample(doc, cache.m_DatStartTime), cache.m_nCacheLevel,
                             nullptr, plain));
        for (size_t b = 0; b < binCount; ++b) {
            ASSERT_TRUE(SameValue(cache.Min(0)[b], plain.min[0][b])) << b;
            ASSERT_TRUE(SameValue(cache.Max(0)[b], plain.max[0][b])) << b;
        }
    }
};

TEST_F(ViewReloadTest, ShowsACoarsePictureAndThenTheExactOne) {
    Scene scene(*this, 100.0);
    CKymoraView& view = scene.view;
    ASSERT_TRUE(scene.complete);
    EXPECT_FALSE(view.IsReloading());
    host.progress.clear();
    view.Go(&Navigation::ShowAll);
    ASSERT_TRUE(view.IsReloading());
    EXPECT_TRUE(view.Plot().bins.IsCoarse());
    EXPECT_TRUE(host.progress.empty());  // no box in the way
    view.Autoscale(true);
    window.painted = 0;
    ASSERT_TRUE(WaitForExact(view));
    EXPECT_GT(window.painted, 0);
    ExpectExact(view);
    EXPECT_EQ(view.m_axes[0].m_dMax, 6.0);  // scaled again, by the exact bins

    // The summary is there: nothing needs to be waited for any more.
    for (int i = 0; i < 20000 && !scene.service.Find(*scene.doc); ++i)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    view.ChangeViewport({1234.5, 40'000'000.0 * scene.doc->sampleInterval});
    EXPECT_FALSE(view.IsReloading());
    ExpectExact(view);
}

TEST_F(ViewReloadTest, CancelPutsTheLastExactViewBack) {
    Scene scene(*this, 100.0);
    CKymoraView& view = scene.view;
    ASSERT_TRUE(scene.complete);
    const double end = view.Plot().FileEnd();
    view.Go(&Navigation::ShowAll);
    view.ChangeViewport({end * 0.05, end});  // and on, while it is still being read
    ASSERT_TRUE(view.IsReloading());
    view.Escape();
    EXPECT_FALSE(view.IsReloading());
    EXPECT_EQ(view.GetViewport(), (Viewport{0.0, 100.0}));
    EXPECT_FALSE(view.GetHistory().CanGoBack());
    ExpectExact(view);
}

TEST_F(ViewReloadTest, CancelOfTheFirstReadingShowsAShortStretch) {
    Scene scene(*this);
    CKymoraView& view = scene.view;
    ASSERT_TRUE(scene.complete);
    ASSERT_TRUE(view.IsReloading());
    view.CancelReload();
    EXPECT_EQ(view.GetViewport(), (Viewport{0.0, scene.doc->TimeOf(1000)}));
    ExpectExact(view);
}

TEST_F(ViewReloadTest, PicturesThatLeaveTheWindowAreExact) {
    Scene scene(*this);
    CKymoraView& view = scene.view;
    view.FinishReload();
    ExpectExact(view);
    EXPECT_FALSE(view.IsReloading());

    CKymoraView unseen(*scene.doc);  // as a picture file uses it
    unseen.OnSize(800, 400);
    ASSERT_TRUE(unseen.OnInitialUpdate(Viewport{0.0, scene.doc->GetEndTime()}));
    ExpectExact(unseen);
}

TEST_F(ViewReloadTest, ClosesWhileItIsRead) {
    for (int i = 0; i < 5; ++i) {
        {
            Scene scene(*this);
            std::this_thread::sleep_for(std::chrono::milliseconds(3 * i));
        }
        session.summaries = nullptr;
    }
}

TEST_F(ViewReloadTest, AChangedFileIsReadPlainly) {
    Scene scene(*this, 100.0);
    CKymoraView& view = scene.view;
    std::filesystem::last_write_time(temp / "long.kymr-dat", std::filesystem::file_time_type::clock::now());
    view.Go(&Navigation::ShowAll);
    EXPECT_TRUE(WaitForExact(view));
    ExpectExact(view);
}

}  // namespace
}  // namespace kymora::test
