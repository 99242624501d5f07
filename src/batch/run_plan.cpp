#include "batch/run_plan.h"

#include <algorithm>

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
    // What two names lead to, links included, also where nothing stands there yet.
    bool IsOne(const Path& a, const Path& b) const {
        const auto first = files_.Stamp(a), second = files_.Stamp(b);
        const bool isOneFile =
            first && second && first->device == second->device && first->inode == second->inode;
        return isOneFile || Plain(a) == Plain(b);
    }

    Path TargetOf(const Path& file) const {
        if (request_.keep == Keep::out) return request_.out;
        if (request_.affects == Affects::nothing) return file;
        const std::string extension = FoldedExtension(file);
        const bool isKept = extension == ".kymr-dat" || (request_.affects == Affects::events &&
                                                         (extension == ".flt" || request_.usesSideCars));
        if (request_.keep == Keep::inPlace && isKept) return file;
        return NativeNameBeside(file, request_.keep == Keep::writeNew);
    }

    void FindNamedTwice() {
        if (!request_.runsFirst) return;
        for (size_t i = 1; i < plan_.files.size(); ++i)
            for (size_t before = 0; before < i; ++before)
                if (IsOne(plan_.files[before].file, plan_.files[i].file))
                    plan_.files[i].why = Why::namedTwice;
    }

    void CheckOut() {
        std::vector<Path> read;
        for (const PlannedFile& planned : plan_.files) read.push_back(planned.file);
        for (const PlannedFile& planned : plan_.files) read.push_back(SideCarPath(planned.file));
        read.insert(read.end(), request_.alsoRead.begin(), request_.alsoRead.end());
        if (request_.affects != Affects::nothing && plan_.CountNamed() > 1)
            return Refuse(RunPlan::Fault::severalToOne, {});
        for (const Path& path : read)
            if (files_.Stamp(path) && IsOne(path, request_.out))
                return Refuse(RunPlan::Fault::outIsRead, path);
    }

    void CheckTargets() {
        for (PlannedFile& planned : plan_.files) {
            if (planned.IsInPlace() || !planned.IsRun()) continue;
            const auto named = std::ranges::find_if(
                request_.files, [&](const Path& file) { return IsOne(planned.target, file); });
            if (named == request_.files.end()) continue;
            if (request_.refusesNamed) return Refuse(RunPlan::Fault::replacesNamed, *named);
            if (request_.keep == Keep::writeNew) planned.why = Why::replacesNamed;
        }
        for (size_t i = 0; i < plan_.files.size(); ++i) LeaveToLater(i);
    }

    void LeaveToLater(size_t i) {
        PlannedFile& planned = plan_.files[i];
        if (planned.why == Why::namedTwice) return;
        for (size_t later = plan_.files.size() - 1; later > i; --later) {
            const PlannedFile& last = plan_.files[later];
            if (last.why == Why::namedTwice || Plain(last.target) != Plain(planned.target)) continue;
            planned.why = last.file == planned.file ? Why::namedTwice : Why::sameTarget;
            planned.other = last.file;
            return;
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
