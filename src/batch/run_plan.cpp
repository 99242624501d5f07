#include "batch/run_plan.h"

#include <algorithm>
#include <map>
#include <set>
#include <tuple>

#include "document/side_car.h"
#include "operations/save_result.h"

namespace kymora {

namespace {

using Path = std::filesystem::path;
using Why = PlannedFile::Why;

Path Plain(const Path& path) {
    std::error_code ignored;
    return std::filesystem::absolute(path, ignored).lexically_normal();
}

class Planner {
  public:
    Planner(FileSystem& files, const RunRequest& request) : files_(files), request_(request) {
        plan_.affects = request.affects;
        plan_.keep = request.keep;
    }

    RunPlan Plan() {
        for (const Path& file : request_.files) plan_.files.push_back({file, TargetOf(file)});
        FindNamedTwice();
        if (request_.keep == Keep::out)
            CheckOut();
        else
            CheckTargets();
        return std::move(plan_);
    }

  private:
    // What a name leads to, links included, or the name where nothing stands there yet: equal for two names
    // of one file.
    using Identity = std::tuple<uint64_t, uint64_t, Path>;
    Identity IdentityOf(const Path& path) const {
        const Path plain = Plain(path);
        for (const Path& name : {path, plain})
            if (const auto stamp = files_.Stamp(name)) return {stamp->device, stamp->inode, {}};
        return {0, 0, plain};
    }

    Path TargetOf(const Path& file) const {
        if (request_.keep == Keep::out) return request_.out;
        if (request_.affects == Affects::nothing) return file;
        const std::string extension = FoldedExtension(file);
        const bool isKept =
            extension == request_.extension ||
            (request_.affects == Affects::events && (extension == ".flt" || request_.usesSideCars));
        if (request_.keep == Keep::inPlace && isKept) return file;
        return NameBeside(file, request_.keep == Keep::writeNew, request_.extension);
    }

    void FindNamedTwice() {
        if (!request_.runsFirst) return;
        std::set<Identity> named;
        for (PlannedFile& planned : plan_.files)
            if (!named.insert(IdentityOf(planned.file)).second) planned.why = Why::namedTwice;
    }

    void CheckOut() {
        std::vector<Path> read;
        for (const PlannedFile& planned : plan_.files) read.push_back(planned.file);
        for (const PlannedFile& planned : plan_.files) read.push_back(SideCarPath(files_, planned.file));
        read.insert(read.end(), request_.alsoRead.begin(), request_.alsoRead.end());
        if (request_.affects != Affects::nothing && plan_.CountNamed() > 1)
            return Refuse(RunPlan::Fault::severalToOne, {});
        const Identity out = IdentityOf(request_.out);
        for (const Path& path : read)
            if (files_.Stamp(path) && IdentityOf(path) == out) return Refuse(RunPlan::Fault::outIsRead, path);
    }

    void CheckTargets() {
        std::map<Identity, Path> named;
        for (const Path& file : request_.files) named.emplace(IdentityOf(file), file);
        for (PlannedFile& planned : plan_.files) {
            if (planned.IsInPlace() || !planned.IsRun()) continue;
            const auto found = named.find(IdentityOf(planned.target));
            if (found == named.end()) continue;
            if (request_.refusesNamed) return Refuse(RunPlan::Fault::replacesNamed, found->second);
            if (request_.keep == Keep::writeNew) planned.why = Why::replacesNamed;
        }
        LeaveToLater();
    }

    // One name for a file that need not exist, whatever links lead to it or its folder.
    Path PlaceOf(const Path& path) const {
        const Path plain = Plain(path);
        if (files_.Stamp(plain)) return files_.Resolve(plain);
        return files_.Resolve(plain.parent_path()) / plain.filename();
    }

    // Of several with one target the last one is run.
    void LeaveToLater() {
        std::map<Path, Path> last;  // by target
        for (size_t i = plan_.files.size(); i-- > 0;) {
            PlannedFile& planned = plan_.files[i];
            if (planned.why == Why::namedTwice) continue;
            const auto [at, isLast] = last.emplace(PlaceOf(planned.target), planned.file);
            if (isLast) continue;
            planned.why = at->second == planned.file ? Why::namedTwice : Why::sameTarget;
            planned.other = at->second;
        }
    }

    void Refuse(RunPlan::Fault fault, const Path& at) {
        plan_.fault = fault;
        plan_.at = at;
    }

    FileSystem& files_;
    const RunRequest& request_;
    RunPlan plan_;
};

}  // namespace

size_t RunPlan::CountNamed() const {
    return static_cast<size_t>(
        std::ranges::count_if(files, [](const PlannedFile& file) { return file.why != Why::namedTwice; }));
}

size_t RunPlan::CountRun() const {
    return static_cast<size_t>(std::ranges::count_if(files, &PlannedFile::IsRun));
}

RunPlan PlanRun(FileSystem& files, const RunRequest& request) { return Planner(files, request).Plan(); }

}  // namespace kymora
