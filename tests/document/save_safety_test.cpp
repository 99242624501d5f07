// A save in place may be killed, or the disk may fill, at any moment: the file then opens with the old
// metadata or with the new, and with all its samples.

#include <gtest/gtest.h>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "support/faulty_file_system.h"
#include "support/native_builder.h"
#include "support/test_host.h"

namespace kymora {
namespace {

constexpr int newEvents = 60'000;  // their tail goes out in many writes

struct SaveSafety : ::testing::Test {
    test::TestHost host;
    MemoryFileSystem disk;

    void PutRecording() {
        disk = MemoryFileSystem();
        disk.Put(test::recordingPath, test::BuildNative({}).file.data);
    }
    static std::unique_ptr<CFloatDoc> Open(Session& session, OpenFor purpose = OpenFor::editing) {
        auto doc = std::make_unique<CFloatDoc>(session);
        return doc->OnOpenDocument(test::recordingPath, purpose) ? std::move(doc) : nullptr;
    }
    // A change that makes the tail longer.
    static void Edit(CDataDoc& doc) {
        doc.fileComment = "a comment that is a good deal longer than the one before";
        for (int i = 0; i < newEvents; ++i) doc.AddEvent(5, {i, i + 1, 0.0f, 0, 0, "new"});
    }
    // Leaves the file as a kill in the midst of writing the new tail does.
    void Interrupt() {
        PutRecording();
        test::FaultyFileSystem faulty(disk);
        Session session(host, faulty);
        const auto doc = Open(session);
        Edit(*doc);
        // The last writes are those of the tail, then the journal goes by two changes.
        faulty.dieAtChange = ChangesOfASave() - 3;
        EXPECT_FALSE(doc->OnSaveDocument());
        ASSERT_TRUE(disk.Has(JournalPath(disk, test::recordingPath)));
    }
    int64_t ChangesOfASave() {
        MemoryFileSystem other;
        other.Put(test::recordingPath, test::BuildNative({}).file.data);
        test::FaultyFileSystem counting(other);
        Session session(host, counting);
        const auto doc = Open(session);
        Edit(*doc);
        EXPECT_TRUE(doc->OnSaveDocument());
        return counting.changes;
    }
    // Opens the file as the next start of the program would; answers whether it has the new metadata.
    bool CheckWhole(OpenFor purpose, const std::string& trace) {
        SCOPED_TRACE(trace);
        host.Forget();
        Session session(host, disk);
        const auto doc = Open(session, purpose);
        EXPECT_TRUE(doc) << host.LastMessage();
        if (!doc) return false;
        for (int t = 0; t < 2; ++t) {
            std::vector<float> samples(10);
            doc->ReadBlock(t, 0, samples);
            for (int i = 0; i < 10; ++i) EXPECT_EQ(samples[static_cast<size_t>(i)], test::BuiltSample(t, i));
        }
        const bool isNew = doc->fileComment != "comment";
        EXPECT_EQ(doc->GetNumEvents(5), isNew ? newEvents : 0);
        EXPECT_EQ(doc->GetNumEvents(1), 3);
        return isNew;
    }
};

TEST_F(SaveSafety, KilledAtAnyWriteTheFileOpensOldOrNew) {
    const int64_t changes = ChangesOfASave();
    ASSERT_GT(changes, 20) << "the tail goes out in many writes";
    int sawOld = 0;
    for (int64_t at = 1; at <= changes; ++at) {
        for (const bool halfWay : {false, true}) {
            PutRecording();
            test::FaultyFileSystem faulty(disk);
            faulty.dieAtChange = at;
            faulty.dieHalfWay = halfWay;
            {
                Session session(host, faulty);
                const auto doc = Open(session);
                ASSERT_TRUE(doc);
                Edit(*doc);
                // The last change only removes a journal that does not count any more.
                EXPECT_EQ(doc->OnSaveDocument(), at == changes);
            }
            const auto trace = "killed at change " + std::to_string(at) + (halfWay ? ", half way" : "");
            // Where all of the new metadata had been written, they stay, for a reader, too.
            const bool wasFinished = at >= changes - 1;
            EXPECT_TRUE(!wasFinished || CheckWhole(OpenFor::reading, trace)) << trace;
            const bool isNew = CheckWhole(OpenFor::editing, trace);
            EXPECT_TRUE(!wasFinished || (isNew && host.messages.empty())) << trace;
            sawOld += isNew ? 0 : 1;
            EXPECT_EQ(CheckWhole(OpenFor::editing, trace + ", second open"), isNew);
            EXPECT_FALSE(disk.Has(JournalPath(disk, test::recordingPath))) << trace;
            EXPECT_EQ(disk.Count(), 1u) << trace;
        }
    }
    EXPECT_GT(sawOld, 0);
}

TEST_F(SaveSafety, AFullDiskLeavesTheFileAsItWas) {
    PutRecording();
    const auto before = disk.Bytes(test::recordingPath);
    for (int64_t freeBytes = 0; freeBytes < 6'000'000; freeBytes += freeBytes < 200 ? 13 : 49'997) {
        PutRecording();
        test::FaultyFileSystem faulty(disk);
        faulty.freeBytes = freeBytes;
        Session session(host, faulty);
        auto doc = Open(session);
        ASSERT_TRUE(doc);
        Edit(*doc);
        const bool saved = doc->OnSaveDocument();
        doc.reset();
        ASSERT_FALSE(disk.Has(JournalPath(disk, test::recordingPath))) << freeBytes;
        if (!saved) {
            ASSERT_EQ(disk.Bytes(test::recordingPath), before) << freeBytes;
            ASSERT_NE(host.LastMessage().find("not saved"), std::string::npos);
        }
        EXPECT_EQ(CheckWhole(OpenFor::editing, std::to_string(freeBytes)), saved);
    }
}

// Where the interrupted file cannot be written, it is read as it was before the save.
TEST_F(SaveSafety, AReaderSeesThroughTheJournal) {
    PutRecording();
    const auto before = disk.Bytes(test::recordingPath);
    Interrupt();
    ASSERT_NE(disk.Bytes(test::recordingPath), before);
    const auto mixed = disk.Bytes(test::recordingPath);
    auto locked = disk.Open(test::recordingPath, OpenMode::readWrite);
    ASSERT_TRUE(locked->TryLock());  // another program is at work
    EXPECT_FALSE(CheckWhole(OpenFor::reading, "locked"));
    EXPECT_FALSE(CheckWhole(OpenFor::editing, "locked, for editing"));
    EXPECT_EQ(disk.Bytes(test::recordingPath), mixed) << "nobody repairs what another program is writing";
    locked.reset();
    EXPECT_FALSE(CheckWhole(OpenFor::reading, "free"));
    EXPECT_EQ(disk.Bytes(test::recordingPath), mixed) << "a reader writes nothing";
    EXPECT_FALSE(CheckWhole(OpenFor::editing, "free, for editing"));
    EXPECT_EQ(disk.Bytes(test::recordingPath), before) << "undone";
    EXPECT_EQ(host.messages.size(), 1u) << "and told";
}

// A program that opens the file in the midst of another's save neither sees a mixture nor disturbs the save.
TEST_F(SaveSafety, OpeningWhileAnotherSavesDisturbsNothing) {
    for (const OpenFor purpose : {OpenFor::reading, OpenFor::editing}) {
        PutRecording();
        test::FaultyFileSystem saver(disk);
        Session session(host, saver);
        const auto doc = Open(session);
        ASSERT_TRUE(doc);
        Edit(*doc);
        int opened = 0;
        saver.beforeChange = [&] {
            host.Forget();
            Session other(host, disk);
            const auto seen = Open(other, purpose);
            ASSERT_TRUE(seen) << host.LastMessage();
            EXPECT_TRUE(seen->openedReadOnly);
            EXPECT_EQ(seen->fileComment == "comment", seen->GetNumEvents(5) == 0) << "old or new, no mixture";
            EXPECT_EQ(seen->GetNumEvents(1), 3);
            ++opened;
        };
        EXPECT_TRUE(doc->OnSaveDocument());
        saver.beforeChange = nullptr;
        EXPECT_GT(opened, 20);
    }
    EXPECT_TRUE(CheckWhole(OpenFor::editing, "after it all"));
}

// After a question is answered with Yes the samples must still be those that the metadata speak of.
TEST_F(SaveSafety, AFileWithOtherSamplesIsNeverSavedOver) {
    PutRecording();
    Session session(host, disk);
    const auto doc = Open(session);
    ASSERT_TRUE(doc);
    test::NativeRecipe other;
    other.runs = {{300}, {300}};
    const auto bytes = test::BuildNative(other).file.data;
    disk.Open(test::recordingPath, OpenMode::readWrite)->WriteAt(0, bytes);
    const auto changed = disk.Bytes(test::recordingPath);
    Edit(*doc);
    EXPECT_FALSE(doc->OnSaveDocument());
    EXPECT_EQ(disk.Bytes(test::recordingPath), changed);
}

// A save is killed in its midst, and another version of the recording, such as a backup with the same
// samples, is put in its place: it opens as it is, and the journal is set aside and told of once.
TEST_F(SaveSafety, AJournalOfAnotherVersionIsSetAside) {
    test::NativeRecipe otherSamples, otherTail, longerTail;
    otherSamples.runs = {{12}, {12}};
    otherTail.comment = u"comMent";
    longerTail.comment = u"a comment that is a good deal longer than the other";
    std::vector<std::vector<std::byte>> versions;
    for (const auto& recipe : {otherSamples, otherTail, longerTail})
        versions.push_back(test::BuildNative(recipe).file.data);
    Interrupt();
    const auto mixed = disk.Bytes(test::recordingPath);
    versions.push_back(mixed);
    versions.back().back() ^= std::byte{1};  // one byte of the tail
    versions.push_back(mixed);
    versions.back()[3] ^= std::byte{1};  // one of the rewritten bytes of the head
    versions.push_back(mixed);
    versions.back().resize(versions.back().size() + 4'000'000);
    const auto kept = JournalPath(disk, test::recordingPath).string() + "-of-another-version";
    for (const auto& bytes : versions) {
        SCOPED_TRACE(&bytes - versions.data());
        Interrupt();
        disk.Put(test::recordingPath, bytes);
        Session session(host, disk);
        host.Forget();
        Open(session, OpenFor::reading);
        EXPECT_EQ(disk.Bytes(test::recordingPath), bytes) << "a reader writes nothing";
        EXPECT_TRUE(disk.Has(JournalPath(disk, test::recordingPath)));
        host.Forget();
        auto doc = Open(session);
        EXPECT_EQ(disk.Bytes(test::recordingPath), bytes);
        EXPECT_FALSE(disk.Has(JournalPath(disk, test::recordingPath)));
        EXPECT_TRUE(disk.Has(kept));
        ASSERT_FALSE(host.messages.empty());
        EXPECT_NE(host.messages[0].text.find("another version of this recording"), std::string::npos);
        if (&bytes - versions.data() >= 3) continue;  // mixtures have more to tell, or nothing
        EXPECT_EQ(host.messages.size(), 1u);
        doc.reset();
        host.Forget();
        doc = Open(session);
        EXPECT_TRUE(host.messages.empty()) << "told once";
        doc->fileComment = "and saved";
        EXPECT_TRUE(doc->OnSaveDocument());
        EXPECT_TRUE(disk.Has(kept));
    }
}

// A journal that was damaged is no journal; what it holds is kept.
TEST_F(SaveSafety, ADamagedJournalIsKept) {
    Interrupt();
    const auto journal = JournalPath(disk, test::recordingPath);
    for (const bool isCut : {false, true}) {
        Interrupt();
        auto& bytes = disk.Bytes(journal);
        isCut ? bytes.resize(bytes.size() / 2) : void(bytes[bytes.size() / 2] ^= std::byte{1});
        const auto damaged = bytes;
        Session session(host, disk);
        host.Forget();
        Open(session);
        EXPECT_EQ(disk.Bytes(journal.string() + "-of-another-version"), damaged);
        EXPECT_NE(host.messages.at(0).text.find("damaged"), std::string::npos);
    }
}

// A journal through which another program is saving is nobody else's to move.
TEST_F(SaveSafety, AJournalInUseStays) {
    Interrupt();
    auto other = disk.Bytes(test::recordingPath);
    other.back() ^= std::byte{1};
    disk.Put(test::recordingPath, other);
    auto saver = disk.Open(JournalPath(disk, test::recordingPath), OpenMode::readWrite);
    ASSERT_TRUE(saver->TryLock());
    EXPECT_THROW(SetForeignJournalAside(disk, test::recordingPath), FileError);
    EXPECT_TRUE(disk.Has(JournalPath(disk, test::recordingPath)));
    saver.reset();
    EXPECT_TRUE(SetForeignJournalAside(disk, test::recordingPath));
    EXPECT_FALSE(disk.Has(JournalPath(disk, test::recordingPath)));
}

// Another program writes its version into the file, without a lock, at any moment of the save: nothing of it
// is written over, and nobody is told that the save was done.
TEST_F(SaveSafety, WhatOthersWriteDuringASaveStays) {
    test::NativeRecipe other;
    other.comment = u"theirs";
    const auto theirs = test::BuildNative(other).file.data;
    const int64_t changes = ChangesOfASave();
    constexpr int64_t behindTail = 2;  // the journal goes
    const int64_t firstOfTail = changes - behindTail - 8;
    for (int64_t at = 1; at <= changes - behindTail; ++at) {
        if (at == firstOfTail) continue;  // the one write that is on its way then covers all of theirs
        PutRecording();
        test::FaultyFileSystem faulty(disk);
        Session session(host, faulty);
        auto doc = Open(session);
        Edit(*doc);
        host.Forget();
        int64_t seen = 0;
        faulty.beforeChange = [&] {
            if (++seen != at) return;
            const auto file = disk.Open(test::recordingPath, OpenMode::readWrite);
            file->WriteAt(0, theirs);
            file->Truncate(theirs.size());
        };
        EXPECT_EQ(doc->Save(), SaveOutcome::changedOutside) << at << " of " << changes;
        EXPECT_FALSE(host.messages.empty());
        doc.reset();
        if (at < firstOfTail) {
            EXPECT_EQ(disk.Bytes(test::recordingPath), theirs) << at;
        }
        EXPECT_EQ(disk.Count(), 1u) << at;
    }
}

// Another program renames its version over the file while it is saved.
TEST_F(SaveSafety, AFileThatIsReplacedDuringItsSaveStaysAndTheResultIsKept) {
    PutRecording();
    test::FaultyFileSystem faulty(disk);
    Session session(host, faulty);
    auto doc = Open(session);
    Edit(*doc);
    test::NativeRecipe other;
    other.comment = u"theirs";
    const auto theirs = test::BuildNative(other).file.data;
    bool isReplaced = false;
    faulty.beforeChange = [&] {
        if (!std::exchange(isReplaced, true)) disk.Put(test::recordingPath, theirs);
    };
    EXPECT_FALSE(doc->OnSaveDocument());
    EXPECT_NE(host.LastMessage().find("kept as rec_result.kymr-dat"), std::string::npos);
    doc.reset();
    EXPECT_EQ(disk.Bytes(test::recordingPath), theirs);
    EXPECT_EQ(disk.Count(), 2u);
    CFloatDoc kept(session);
    ASSERT_TRUE(kept.OnOpenDocument("/rec_result.kymr-dat"));
    EXPECT_EQ(kept.GetNumEvents(5), newEvents);
}

// A file that takes the place of one with an interrupted save is not put back to that one's state.
TEST_F(SaveSafety, AReplacedFileHasNoJournal) {
    Interrupt();
    Session session(host, disk);
    disk.Put("/source.kymr-dat", test::BuildNative({}).file.data);
    CFloatDoc source(session);
    ASSERT_TRUE(source.OnOpenDocument("/source.kymr-dat"));
    source.fileComment = "the new one";
    WriteNativeFile(source, test::recordingPath);
    EXPECT_FALSE(disk.Has(JournalPath(disk, test::recordingPath)));
    EXPECT_EQ(Open(session)->fileComment, "the new one");
}

TEST_F(SaveSafety, TheSecondOpenIsReadOnlyAndTold) {
    PutRecording();
    Session session(host, disk);
    const auto first = Open(session);
    ASSERT_TRUE(first);
    host.Forget();
    const auto second = Open(session);
    ASSERT_TRUE(second);
    EXPECT_TRUE(second->openedReadOnly);
    EXPECT_NE(host.LastMessage().find("already open"), std::string::npos);
    Edit(*second);
    EXPECT_FALSE(second->OnSaveDocument());
    Edit(*first);
    EXPECT_TRUE(first->OnSaveDocument());
}

TEST_F(SaveSafety, ChangesOfOthersAreNotSavedOver) {
    PutRecording();
    Session session(host, disk);
    const auto doc = Open(session);
    ASSERT_TRUE(doc);
    {
        const auto other = disk.Open(test::recordingPath, OpenMode::readWrite);
        const std::byte zero{0};
        other->WriteAt(disk.Bytes(test::recordingPath).size() - 1, {&zero, 1});
    }
    const auto changed = disk.Bytes(test::recordingPath);
    Edit(*doc);
    host.answer = false;
    EXPECT_FALSE(doc->OnSaveDocument());
    EXPECT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(disk.Bytes(test::recordingPath), changed);
    host.answer = true;
    EXPECT_TRUE(doc->OnSaveDocument());
    host.Forget();
    EXPECT_TRUE(doc->OnSaveDocument()) << "our own save is no change of others";
    EXPECT_TRUE(host.questions.empty());

    disk.Put(test::recordingPath, changed);  // another file of that name
    EXPECT_FALSE(doc->OnSaveDocument());
    EXPECT_NE(host.LastMessage().find("moved, deleted or replaced"), std::string::npos);
    EXPECT_EQ(disk.Bytes(test::recordingPath), changed);
}

// A file of an old version is written anew beside itself, and takes its place only when it is complete.
TEST_F(SaveSafety, OldVersionsAreConverted) {
    disk = MemoryFileSystem();
    test::NativeRecipe recipe;
    disk.Put("/other.kymr-dat", test::BuildNative(recipe).file.data);
    recipe.version = 21;
    disk.Put("/old.flt", test::BuildNative(recipe).file.data);
    Session session(host, disk);
    auto doc = std::make_unique<CFloatDoc>(session);
    ASSERT_TRUE(doc->OnOpenDocument("/old.flt"));
    EXPECT_FALSE(doc->OnSaveDocument()) << "no name was chosen";
    {
        CFloatDoc other(session);
        ASSERT_TRUE(other.OnOpenDocument("/other.kymr-dat"));
        host.saveFile = "/other.kymr-dat";
        EXPECT_FALSE(doc->OnSaveDocument()) << "another recording that is open is not written over";
        EXPECT_EQ(host.LastMessage(), "The file /other.kymr-dat is open. Choose another name.");
    }
    host.saveFile = "/new.kymr-dat";
    ASSERT_TRUE(doc->OnSaveDocument());
    EXPECT_EQ(doc->pendingRewritePath, "/new.kymr-dat");
    const auto stamp = doc->RememberedStamp("/old.flt");
    doc.reset();
    EXPECT_FALSE(FinishRewrite(session, "/old.edf", "/new.kymr-dat", {})) << "no file of ours is deleted";
    EXPECT_FALSE(FinishRewrite(session, "/old.flt", "/new.kymr-dat", FileStamp{})) << "changed meanwhile";
    EXPECT_TRUE(disk.Has("/old.flt"));
    ASSERT_TRUE(FinishRewrite(session, "/old.flt", "/new.kymr-dat", stamp));
    EXPECT_FALSE(disk.Has("/old.flt") || disk.Has("/new.kymr-dat"));
    CFloatDoc converted(session);
    ASSERT_TRUE(converted.OnOpenDocument("/old.kymr-dat"));
    EXPECT_EQ(converted.fileVersion, 48);
    EXPECT_EQ(converted.GetNumEvents(1), 3);
    std::vector<float> samples(10);
    converted.ReadBlock(1, 0, samples);
    EXPECT_EQ(samples[7], test::BuiltSample(1, 7));

    // Another file of the final name is not replaced.
    disk.Put("/x.flt", {});
    disk.Put("/x.kymr-dat", std::vector<std::byte>(3));
    disk.Put("/y.kymr-dat", {});
    EXPECT_FALSE(FinishRewrite(session, "/x.flt", "/y.kymr-dat", disk.Stamp("/x.flt")));
    EXPECT_EQ(disk.Bytes("/x.kymr-dat").size(), 3u);
    EXPECT_TRUE(disk.Has("/x.flt"));
}

}  // namespace
}  // namespace kymora
