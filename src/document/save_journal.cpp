#include "document/save_journal.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

namespace kymora {
namespace {

constexpr size_t pieceSize = size_t{1} << 18;
constexpr uint64_t fingerprintBytes = 65536;

// The journal: this block, the old bytes from the tail's place on, and a checksum of both.
struct JournalHead {
    char mark[8] = {'K', 'Y', 'M', 'J', 'R', 'N', 'L', '1'};
    uint64_t headEnd = 0;
    uint64_t tailOffset = 0;
    uint64_t oldLength = 0;               // of the data file
    uint64_t fingerprint = 0;             // of what a save does not touch
    std::array<std::byte, 16> oldHead{};  // rewrittenHeadBytes of it, then zeros

    uint64_t TailBytes() const { return oldLength - tailOffset; }
    uint64_t ChecksumPlace() const { return sizeof(JournalHead) + TailBytes(); }
};
static_assert(sizeof(JournalHead) == 56);

// FNV-1a, 64 bits.
class Checksum {
  public:
    void Add(std::span<const std::byte> bytes) {
        for (const std::byte b : bytes) {
            value_ ^= static_cast<uint64_t>(b);
            value_ *= 0x100000001B3ULL;
        }
    }
    uint64_t Value() const { return value_; }

  private:
    uint64_t value_ = 0xCBF29CE484222325ULL;
};

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
    return files.Open(journalPath, OpenMode::readOnly);
}

// Nothing when the journal is cut off or damaged.
std::optional<JournalHead> ReadIntactHead(const DataFile& journal) {
    JournalHead head;
    if (journal.ReadAt(0, Raw(head)) != sizeof head) return std::nullopt;
    if (std::memcmp(head.mark, JournalHead().mark, sizeof head.mark) != 0) return std::nullopt;
    if (head.headEnd < rewrittenHeadBytes || head.tailOffset < head.headEnd ||
        head.oldLength < head.tailOffset)
        return std::nullopt;
    if (journal.Length() != head.ChecksumPlace() + sizeof(uint64_t)) return std::nullopt;
    Checksum sum;
    EachPiece(journal, 0, head.ChecksumPlace(),
              [&](uint64_t, std::span<const std::byte> bytes) { sum.Add(bytes); });
    uint64_t stored = 0;
    journal.ReadAt(head.ChecksumPlace(), std::as_writable_bytes(std::span(&stored, 1)));
    if (stored != sum.Value()) return std::nullopt;
    return head;
}

bool Belongs(const JournalHead& head, const DataFile& file) {
    return file.Length() >= head.tailOffset &&
           FileFingerprint(file, {head.headEnd, head.tailOffset}) == head.fingerprint;
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
    auto path = files.Resolve(dataFile);
    path += ".save-journal";
    return path;
}

uint64_t FileFingerprint(const DataFile& file, JournalRange range) {
    Checksum sum;
    const auto add = [&](uint64_t, std::span<const std::byte> bytes) { sum.Add(bytes); };
    const auto [headEnd, tailOffset] = range;
    EachPiece(file, rewrittenHeadBytes, headEnd, add);
    EachPiece(file, headEnd, std::min(tailOffset, headEnd + fingerprintBytes), add);
    EachPiece(file, std::max(headEnd, tailOffset - std::min(tailOffset, fingerprintBytes)), tailOffset, add);
    return sum.Value();
}

void WriteJournal(FileSystem& files, const std::filesystem::path& path, const DataFile& file,
                  JournalRange range) {
    JournalHead head;
    head.headEnd = range.headEnd;
    head.tailOffset = range.tailOffset;
    head.oldLength = file.Length();
    head.fingerprint = FileFingerprint(file, range);
    file.ReadAt(0, std::span(head.oldHead).first(rewrittenHeadBytes));

    const auto journalPath = JournalPath(files, path);
    const JournalState state = InspectJournal(files, path, file);
    if (state == JournalState::foreign || state == JournalState::complete)
        throw FileError("The safety copy " + journalPath.string() + " of another save stands in the way", 0);
    if (state == JournalState::incomplete) files.Remove(journalPath);
    try {
        const auto journal = files.Open(journalPath, OpenMode::createNew);
        Checksum sum;
        uint64_t at = 0;
        const auto append = [&](std::span<const std::byte> bytes) {
            journal->WriteAt(at, bytes);
            sum.Add(bytes);
            at += bytes.size();
        };
        append(Raw(head));
        EachPiece(file, head.tailOffset, head.oldLength,
                  [&](uint64_t, std::span<const std::byte> bytes) { append(bytes); });
        const uint64_t checksum = sum.Value();
        append(std::as_bytes(std::span(&checksum, 1)));
        journal->Sync();
        files.SyncFolderOf(journalPath);
    } catch (const FileError&) {
        if (files.Stamp(journalPath)) files.Remove(journalPath);
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
    const auto journal = OpenJournal(files, path);
    if (!journal) return JournalState::none;
    const auto head = ReadIntactHead(*journal);
    if (!head) return JournalState::incomplete;
    return Belongs(*head, file) ? JournalState::complete : JournalState::foreign;
}

void UndoFromJournal(FileSystem& files, const std::filesystem::path& path, DataFile& file) {
    const auto journal = OpenJournal(files, path);
    const auto head = journal ? ReadIntactHead(*journal) : std::nullopt;
    if (!head) return;
    EachPiece(*journal, sizeof(JournalHead), head->ChecksumPlace(),
              [&](uint64_t at, std::span<const std::byte> bytes) {
                  file.WriteAt(head->tailOffset + (at - sizeof(JournalHead)), bytes);
              });
    file.WriteAt(0, std::span(head->oldHead).first(rewrittenHeadBytes));
    file.Truncate(head->oldLength);
    file.Sync();
    RetireJournal(files, path);
}

std::unique_ptr<DataFile> ViewThroughJournal(FileSystem& files, const std::filesystem::path& path,
                                             std::unique_ptr<DataFile> file) {
    auto journal = OpenJournal(files, path);
    const auto head = journal ? ReadIntactHead(*journal) : std::nullopt;
    if (!head || !Belongs(*head, *file)) return nullptr;
    return std::make_unique<JournalView>(std::move(file), std::move(journal), *head);
}

}  // namespace kymora
