#include "document/save_journal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <span>
#include <vector>

#include <fmt/format.h>

#include "host/file_names.h"
#include "numerics/fnv.h"

namespace kymora {
namespace {

constexpr size_t pieceSize = size_t{1} << 18;
constexpr uint64_t fingerprintBytes = 65536;

// The journal: this block, the old bytes from the tail's place on, the new tail, and a check sum of it all.
struct JournalHead {
    char mark[8] = {'K', 'Y', 'M', 'J', 'R', 'N', 'L', '2'};
    uint64_t headEnd = 0;
    uint64_t tailOffset = 0;
    uint64_t oldLength = 0;  // of the data file
    uint64_t newTailBytes = 0;
    uint64_t fingerprint = 0;             // of what a save does not touch
    std::array<std::byte, 16> oldHead{};  // rewrittenHeadBytes of it, then zeros
    std::array<std::byte, 16> newHead{};

    uint64_t OldTailBytes() const { return oldLength - tailOffset; }
    uint64_t NewEnd() const { return tailOffset + newTailBytes; }
    uint64_t NewTailPlace() const { return sizeof(JournalHead) + OldTailBytes(); }
    uint64_t ChecksumPlace() const { return NewTailPlace() + newTailBytes; }
};
static_assert(sizeof(JournalHead) == 80);

template <typename Use>
void EachPiece(const DataFile& file, uint64_t from, uint64_t to, Use use) {
    std::vector<std::byte> piece(
        static_cast<size_t>(std::min<uint64_t>(pieceSize, to > from ? to - from : 0)));
    while (from < to) {
        const std::span<std::byte> part(piece.data(),
                                        static_cast<size_t>(std::min<uint64_t>(piece.size(), to - from)));
        if (file.ReadAt(from, part) != part.size())
            throw FileError("A file became shorter while it was read", 0);
        use(from, std::span<const std::byte>(part));
        from += part.size();
    }
}

std::span<std::byte> Raw(JournalHead& head) { return std::as_writable_bytes(std::span(&head, 1)); }

std::unique_ptr<DataFile> OpenJournal(FileSystem& files, const std::filesystem::path& path) {
    const auto journalPath = JournalPath(files, path);
    if (!files.Stamp(journalPath)) return nullptr;
    try {
        return files.Open(journalPath, OpenMode::readOnly);
    } catch (const FileError& error) {
        if (error.systemError == ENOENT) return nullptr;  // its save has just ended
        throw;
    }
}

// Of all behind the mark.
uint64_t ChecksumOf(const DataFile& journal, const JournalHead& head) {
    Fnv1a sum;
    EachPiece(journal, sizeof head.mark, head.ChecksumPlace(),
              [&](uint64_t, std::span<const std::byte> piece) { sum.Add(piece); });
    return sum.Value();
}

// Nothing when the journal is cut off or damaged.
std::optional<JournalHead> ReadIntactHead(const DataFile& journal) {
    JournalHead head;
    const uint64_t length = journal.Length();
    if (journal.ReadAt(0, Raw(head)) != sizeof head) return std::nullopt;
    if (std::memcmp(head.mark, JournalHead().mark, sizeof head.mark) != 0) return std::nullopt;
    if (head.headEnd < rewrittenHeadBytes || head.tailOffset < head.headEnd ||
        head.oldLength < head.tailOffset || head.OldTailBytes() > length || head.newTailBytes > length)
        return std::nullopt;
    if (length != head.ChecksumPlace() + sizeof(uint64_t)) return std::nullopt;
    uint64_t stored = 0;
    journal.ReadAt(head.ChecksumPlace(), std::as_writable_bytes(std::span(&stored, 1)));
    if (stored != ChecksumOf(journal, head)) return std::nullopt;
    return head;
}

// Whether a journal that is not intact is one that was cut off while it was made or retired: its mark is the
// last that is written and the first that goes. What begins otherwise was not written here, or was damaged
// later.
bool IsCutOff(const DataFile& journal) {
    const JournalHead whole;
    char mark[sizeof whole.mark] = {};
    const size_t read = journal.ReadAt(0, std::as_writable_bytes(std::span(mark)));
    if (std::memcmp(mark, whole.mark, sizeof mark) == 0) return false;
    for (size_t i = 0; i < read; ++i)
        if (mark[i] != 0 && mark[i] != whole.mark[i]) return false;
    return true;
}

// How a stretch of the file compares with what a save finds there and what it leaves there.
class Comparison {
  public:
    // Bytes that are there; both others may be shorter.
    void Add(std::span<const std::byte> there, std::span<const std::byte> before,
             std::span<const std::byte> after) {
        for (size_t i = 0; i < there.size(); ++i) {
            // Behind the old end there may be room without bytes.
            const std::byte old = i < before.size() ? before[i] : std::byte{0};
            // What lies behind the new end stays.
            const std::byte made = i < after.size() ? after[i] : old;
            isNew_ = isNew_ && there[i] == made;
            isEither_ = isEither_ && (there[i] == old || there[i] == made);
        }
    }
    bool IsNew() const { return isNew_; }
    bool IsEither() const { return isEither_; }

  private:
    bool isNew_ = true;
    bool isEither_ = true;
};

// Reads what lies from `from` on and before `end`, up to the size of `to`.
std::span<const std::byte> ReadPart(const DataFile& file, uint64_t from, uint64_t end,
                                    std::span<std::byte> to) {
    const uint64_t count = end > from ? std::min<uint64_t>(end - from, to.size()) : 0;
    ReadWhole(file, from, to.first(count));
    return to.first(count);
}

// Nothing when it is not the file of the journal, or another version of it.
std::optional<JournalState> StateOf(const DataFile& journal, const JournalHead& head, const DataFile& file) {
    const uint64_t length = file.Length();
    const uint64_t newLength = std::max(head.oldLength, head.NewEnd());
    if (length < head.oldLength || length > newLength) return std::nullopt;
    if (FileFingerprint(file, {head.headEnd, head.tailOffset}) != head.fingerprint) return std::nullopt;
    Comparison compared;
    std::array<std::byte, rewrittenHeadBytes> fileHead{};
    ReadWhole(file, 0, fileHead);
    compared.Add(fileHead, std::span(head.oldHead).first(rewrittenHeadBytes),
                 std::span(head.newHead).first(rewrittenHeadBytes));
    std::vector<std::byte> there(pieceSize), before(pieceSize), after(pieceSize);
    for (uint64_t at = head.tailOffset; at < length && compared.IsEither(); at += pieceSize) {
        const uint64_t fromTail = at - head.tailOffset;
        compared.Add(ReadPart(file, at, length, there),
                     ReadPart(journal, sizeof(JournalHead) + fromTail, head.NewTailPlace(), before),
                     ReadPart(journal, head.NewTailPlace() + fromTail, head.ChecksumPlace(), after));
    }
    if (!compared.IsEither()) return std::nullopt;
    return compared.IsNew() && length == newLength ? JournalState::finished : JournalState::complete;
}

// Whether a piece of the tail, `at` bytes behind its place, is as it was before the save.
bool IsOldTail(const DataFile& journal, const JournalHead& head, const DataFile& file, uint64_t at) {
    std::vector<std::byte> there(pieceSize), before(pieceSize);
    const auto is = ReadPart(file, head.tailOffset + at, file.Length(), there);
    const auto was = ReadPart(journal, sizeof(JournalHead) + at, head.NewTailPlace(), before);
    return std::ranges::equal(is, was);
}

JournalState InspectJournal(const DataFile* journal, const DataFile& file, std::optional<JournalHead>& head) {
    if (!journal) return JournalState::none;
    head = ReadIntactHead(*journal);
    if (!head) return IsCutOff(*journal) ? JournalState::incomplete : JournalState::foreign;
    return StateOf(*journal, *head, file).value_or(JournalState::foreign);
}

// A file whose head and tail are read from its journal, and its samples from itself.
class JournalView : public DataFile {
  public:
    JournalView(std::unique_ptr<DataFile> file, std::unique_ptr<DataFile> journal, const JournalHead& head)
        : file_(std::move(file)), journal_(std::move(journal)), head_(head) {}

    size_t ReadAt(uint64_t offset, std::span<std::byte> to) const override {
        size_t done = 0;
        while (done < to.size()) {
            const uint64_t at = offset + done;
            auto rest = to.subspan(done);
            size_t n = 0;
            if (at < rewrittenHeadBytes) {
                rest = rest.first(std::min<size_t>(rest.size(), rewrittenHeadBytes - at));
                std::memcpy(rest.data(), head_.oldHead.data() + at, rest.size());
                n = rest.size();
            } else if (at < head_.tailOffset) {
                n = file_->ReadAt(at, rest.first(std::min<uint64_t>(rest.size(), head_.tailOffset - at)));
            } else if (at < head_.oldLength) {
                rest = rest.first(std::min<uint64_t>(rest.size(), head_.oldLength - at));
                n = journal_->ReadAt(sizeof(JournalHead) + (at - head_.tailOffset), rest);
            }
            if (n == 0) break;
            done += n;
        }
        return done;
    }
    void WriteAt(uint64_t, std::span<const std::byte>) override { Refuse(); }
    uint64_t Length() const override { return head_.oldLength; }
    void Truncate(uint64_t) override { Refuse(); }
    void Sync() override {}
    bool IsWritable() const override { return false; }
    bool TryLock() override { return file_->TryLock(); }
    FileStamp Stamp() const override { return file_->Stamp(); }

  private:
    [[noreturn]] static void Refuse() { throw FileError("Couldn't write: the file is open for reading", 0); }

    std::unique_ptr<DataFile> file_;
    std::unique_ptr<DataFile> journal_;
    JournalHead head_;
};

}  // namespace

std::filesystem::path JournalPath(FileSystem& files, const std::filesystem::path& dataFile) {
    return NameBehind(files.Resolve(dataFile), ".save-journal");
}

uint64_t FileFingerprint(const DataFile& file, JournalRange range) {
    Fnv1a sum;
    const auto add = [&](uint64_t, std::span<const std::byte> bytes) { sum.Add(bytes); };
    const auto [headEnd, tailOffset] = range;
    EachPiece(file, rewrittenHeadBytes, headEnd, add);
    EachPiece(file, headEnd, std::min(tailOffset, headEnd + fingerprintBytes), add);
    EachPiece(file, std::max(headEnd, tailOffset - std::min(tailOffset, fingerprintBytes)), tailOffset, add);
    return sum.Value();
}

std::unique_ptr<DataFile> WriteJournal(FileSystem& files, const std::filesystem::path& path,
                                       const DataFile& file, JournalRange range,
                                       const NewMetadata& metadata) {
    JournalHead head;
    head.headEnd = range.headEnd;
    head.tailOffset = range.tailOffset;
    head.oldLength = file.Length();
    head.fingerprint = FileFingerprint(file, range);
    file.ReadAt(0, std::span(head.oldHead).first(rewrittenHeadBytes));
    std::copy(metadata.head.begin(), metadata.head.end(), head.newHead.begin());

    const auto journalPath = JournalPath(files, path);
    const JournalState state = InspectJournal(files, path, file);
    if (state == JournalState::complete)
        throw FileError("The safety copy " + journalPath.string() + " of another save stands in the way", 0);
    if (state == JournalState::foreign)
        SetJournalAside(files, path);
    else if (state != JournalState::none)
        files.Remove(journalPath);
    auto journal = files.Open(journalPath, OpenMode::createPrivate);
    try {
        journal->TryLock();
        files.CopyPermissions(path, journalPath);
        CopyBytes(file, head.tailOffset, *journal, sizeof head, head.OldTailBytes());
        CArchive archive(*journal, CArchive::Mode::store, head.NewTailPlace(), pieceSize);
        metadata.writeTail(archive);
        archive.Close();
        head.newTailBytes = archive.Position() - head.NewTailPlace();
        // The mark, which makes it a journal, comes when all else has reached the disk.
        const auto whole = Raw(head);
        journal->WriteAt(sizeof head.mark, whole.subspan(sizeof head.mark));
        const uint64_t checksum = ChecksumOf(*journal, head);
        journal->WriteAt(head.ChecksumPlace(), std::as_bytes(std::span(&checksum, 1)));
        journal->Sync();
        journal->WriteAt(0, whole.first(sizeof head.mark));
        journal->Sync();
        files.SyncFolderOf(journalPath);
    } catch (...) {
        files.Remove(journalPath);
        throw;
    }
    return journal;
}

void SaveThroughJournal(FileSystem& files, const std::filesystem::path& path, DataFile& file,
                        JournalRange range, const NewMetadata& metadata, const FileStamp& expected) {
    std::unique_ptr<DataFile> journal;
    try {
        journal = WriteJournal(files, path, file, range, metadata);
    } catch (const FileError&) {
        if (file.Stamp() == expected) throw;
        throw ChangedMeanwhile(path);
    }
    JournalHead head;
    ReadWhole(*journal, 0, Raw(head));
    try {
        // Whatever others have written since the file was looked at is not written over.
        if (!(file.Stamp() == expected)) throw ChangedMeanwhile(path);
        file.WriteAt(0, metadata.head);
        for (uint64_t at = 0; at < head.newTailBytes; at += pieceSize) {
            if (!IsOldTail(*journal, head, file, at)) throw ChangedMeanwhile(path);
            CopyBytes(*journal, head.NewTailPlace() + at, file, head.tailOffset + at,
                      std::min<uint64_t>(pieceSize, head.newTailBytes - at));
        }
        file.Sync();
        if (StateOf(*journal, head, file) != JournalState::finished) throw ChangedMeanwhile(path);
        RetireJournal(files, path);
    } catch (const ChangedMeanwhile&) {
        RetireJournal(files, path);
        throw;
    } catch (...) {
        UndoFromJournal(files, path, file);
        throw;
    }
}

void RetireJournal(FileSystem& files, const std::filesystem::path& path) {
    const auto journalPath = JournalPath(files, path);
    {
        const auto journal = files.Open(journalPath, OpenMode::readWrite);
        const std::array<std::byte, sizeof JournalHead::mark> nothing{};
        journal->WriteAt(0, nothing);
        journal->Sync();
    }
    try {
        files.Remove(journalPath);
        files.SyncFolderOf(journalPath);
    } catch (const FileError&) {  // it does not count any more
    }
}

JournalState InspectJournal(FileSystem& files, const std::filesystem::path& path, const DataFile& file) {
    std::optional<JournalHead> head;
    return InspectJournal(OpenJournal(files, path).get(), file, head);
}

void UndoFromJournal(FileSystem& files, const std::filesystem::path& path, DataFile& file) {
    const auto journal = OpenJournal(files, path);
    const auto head = journal ? ReadIntactHead(*journal) : std::nullopt;
    if (!head) return;
    CopyBytes(*journal, sizeof(JournalHead), file, head->tailOffset, head->OldTailBytes());
    file.WriteAt(0, std::span(head->oldHead).first(rewrittenHeadBytes));
    file.Truncate(head->oldLength);
    file.Sync();
    RetireJournal(files, path);
}

std::unique_ptr<DataFile> ViewThroughJournal(FileSystem& files, const std::filesystem::path& path,
                                             std::unique_ptr<DataFile> file) {
    auto journal = OpenJournal(files, path);
    std::optional<JournalHead> head;
    if (InspectJournal(journal.get(), *file, head) != JournalState::complete) return nullptr;
    return std::make_unique<JournalView>(std::move(file), std::move(journal), *head);
}

bool IsJournalInUse(FileSystem& files, const std::filesystem::path& path) {
    const auto journal = OpenJournal(files, path);
    return journal && !journal->TryLock();
}

std::filesystem::path SetJournalAside(FileSystem& files, const std::filesystem::path& path) {
    const auto journalPath = JournalPath(files, path);
    if (IsJournalInUse(files, path))
        throw FileError("Another program is saving " + path.string() + ". Try again in a moment.", 0);
    const std::string ending = "-of-another-version";
    for (int n = 1;; ++n) {
        auto kept = NameBehind(journalPath, n == 1 ? ending : fmt::format("{}-{}", ending, n));
        try {
            files.RenameNew(journalPath, kept);
            files.SyncFolderOf(kept);
            return kept;
        } catch (const FileError& error) {
            if (error.systemError != EEXIST) throw;
        }
    }
}

std::optional<std::filesystem::path> SetForeignJournalAside(FileSystem& files,
                                                            const std::filesystem::path& path) {
    if (!files.Stamp(JournalPath(files, path))) return std::nullopt;
    if (files.Stamp(path)) {
        const auto file = files.Open(path, OpenMode::readOnly);
        if (InspectJournal(files, path, *file) != JournalState::foreign) return std::nullopt;
    }
    return SetJournalAside(files, path);
}

}  // namespace kymora
