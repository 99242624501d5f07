#pragma once
// A file that another one has taken the place of, kept under a second name so that it can come back: the
// recording before a transform. It goes when this object goes, unless it stands in its place then.
//
// Nothing is copied: the file gets a second name before it is replaced, so that at every moment one of the
// two versions stands in the place, and the other one beside it, also after a kill or a power cut.

#include <memory>
#include <vector>

#include "host/session.h"

namespace kymora {

class KeptFile {
  public:
    // Keeps what stands at `place`, links resolved. Where nothing stands there, that is what can come back.
    // Throws FileError, also where the file system knows no second names.
    KeptFile(Session& session, const std::filesystem::path& place);
    ~KeptFile();
    KeptFile(const KeptFile&) = delete;
    KeptFile& operator=(const KeptFile&) = delete;

    const std::filesystem::path& Place() const { return place_; }
    // Where the version is that does not stand in its place; empty for none.
    const std::filesystem::path& Name() const { return name_; }
    // What stood in the place after the last Swap.
    const std::optional<FileStamp>& Placed() const { return placed_; }

    // The kept version takes its place again, and the one that stands there, in this state, is kept instead.
    // Throws FileError, and then nothing has changed: also where either of them was changed by others.
    void Swap(std::optional<FileStamp> there);

  private:
    friend std::vector<std::unique_ptr<KeptFile>> TakeLeftFiles(Session&, const std::filesystem::path&);
    KeptFile(Session& session, std::filesystem::path place, std::filesystem::path name);

    std::filesystem::path LinkPlace(bool isUndone) const;
    std::filesystem::path MovePlace() const;
    void Hold(std::filesystem::path name, const std::optional<FileStamp>& stamp);
    void LetGo();

    Session& session_;
    std::filesystem::path place_, name_;
    std::optional<FileStamp> held_, placed_;
    std::unique_ptr<DataFile> lock_;  // on the held file, unless a document has it
    bool isUndone_ = false;           // the one in the place is the earlier one
};

// Keeps what stands at `place` if the options, the space on the disk and the file system allow it; else null,
// and `why` says in words for the user why not. A folder in which nothing can be written is no reason:
// nothing will be replaced there.
std::unique_ptr<KeptFile> TryToKeep(Session& session, const std::filesystem::path& place, std::string& why);

// What a program that was killed has kept beside `place`, the oldest version first. Versions that had been
// taken back, and second names of the file that stands in the place, are removed. A file that another program
// holds stays, and so does every one where nobody can hold a lock.
std::vector<std::unique_ptr<KeptFile>> TakeLeftFiles(Session& session, const std::filesystem::path& place);

}  // namespace kymora
