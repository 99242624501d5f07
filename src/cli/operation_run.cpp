#include "cli/operation_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/operation_settings.h"
#include "cli/run_record.h"
#include "document/native_writer.h"
#include "document/side_car.h"
#include "operations/config_file.h"
#include "operations/save_result.h"
#include "results/archive_output.h"
#include "results/result_output.h"
#include "transforms/transform_file.h"

namespace kymora {
namespace {

// Passes a text on with CR LF written as LF, also where the two stand in two pieces.
class LineFeeds : public OutputSink {
  public:
    explicit LineFeeds(OutputSink& to) : to_(to) {}
    void Write(std::string_view text) override {
        std::string plain;
        plain.reserve(text.size() + 1);
        for (const char c : text) {
            if (heldReturn_ && c != '\n') plain += '\r';
            heldReturn_ = c == '\r';
            if (!heldReturn_) plain += c;
        }
        to_.Write(plain);
    }
    void Finish() {
        if (heldReturn_) to_.Write("\r");
        heldReturn_ = false;
    }

  private:
    OutputSink& to_;
    bool heldReturn_ = false;
};

// One run of an operation over the files of a request.
class OperationRun {
  public:
    OperationRun(SubcommandContext& context, const Operation& operation, const RunRequest& request,
                 OutputSink& results)
        : context_(context), operation_(operation), request_(request), lines_(results) {}

    void Run() {
        CheckWays();
        TakeSettings();
        CheckKeeping();
        TakeFiles();
        CheckTargets();
        if (!changes_ && request_.output)
            RunIntoFile(*request_.output);
        else
            RunAll();
        lines_.Finish();
    }

  private:
    [[noreturn]] static void Wrong(const std::string& text) { throw CommandError(exitUsage, text); }

    // --- before a recording is opened ---

    void CheckWays() const {
        if (int{request_.inPlace} + int{request_.writeNew} + int{request_.output.has_value()} > 1)
            Wrong("-o, --in-place and --write-new exclude each other.");
    }

    // Tries the settings on a block without a recording.
    void TakeSettings() {
        settings_ = ParseSettings(request_.settings);
        const auto block = operation_.make();
        if (request_.config) {
            if (!LoadConfig(context_.session, *block, *request_.config))
                throw CommandError(exitCannotOpen, "");
            record_ = block->Settings();
        }
        ApplySettings(*block, settings_);
        changes_ = block->ChangesDocument();
        isTransform_ = dynamic_cast<const CTransformTraceDlg*>(block.get()) != nullptr;
    }

    void CheckKeeping() const {
        const bool isKept = request_.inPlace || request_.writeNew || request_.output;
        const std::string name(operation_.className);
        if (changes_ && !isKept)
            Wrong(name + " changes the recording: say -o OUT, --in-place or --write-new.");
        if (!changes_ && (request_.inPlace || request_.writeNew))
            Wrong(name + " changes no recording: its text goes to standard output or to -o OUT.");
        if (!request_.output) return;
        const std::string extension = FoldedExtension(*request_.output);
        const bool isRecording = extension == ".kymr-dat" || extension == ".flt";
        if (isTransform_ && extension == ".flt")
            Wrong(name + " writes .kymr-dat; \"kymora convert\" makes the legacy form of it.");
        if (changes_ && !isRecording) Wrong("OUT takes the extensions .kymr-dat and .flt (legacy).");
        if (!changes_ && isRecording) Wrong(name + " writes a text; OUT cannot be a recording.");
        static const std::set<std::string> pictures = {".png", ".svg", ".pdf", ".eps", ".plt"};
        if (!changes_ && pictures.count(extension) > 0)
            Wrong(name + " draws no graph; OUT takes .txt or .csv.");
    }

    // A file that is named twice is run once.
    void TakeFiles() {
        for (const std::string& file : request_.files) {
            const bool isKnown = std::any_of(files_.begin(), files_.end(), [&](const std::string& known) {
                return known == file || context_.IsOneFile(known, file);
            });
            if (isKnown)
                TellUser(file + " is named twice; it is run once.");
            else
                files_.push_back(file);
        }
        named_ = files_;
    }

    // What two names of one place become, also where nothing stands there yet.
    static std::filesystem::path Normal(const std::filesystem::path& path) {
        return std::filesystem::absolute(path).lexically_normal();
    }

    void CheckTargets() {
        if (request_.output) CheckOutput(*request_.output);
        const bool makesNative = isTransform_ && request_.inPlace;  // of foreign files
        if (!request_.writeNew && !makesNative) return;
        std::vector<std::filesystem::path> targets;
        for (const std::string& file : files_) targets.push_back(TargetBeside(file));
        for (size_t i = 0; i < files_.size(); ++i)
            for (const std::string& file : files_)
                if (targets[i] != files_[i] &&
                    (context_.IsOneFile(targets[i], file) || Normal(targets[i]) == Normal(file)))
                    Wrong(file + " would be replaced by a result and is also named itself.");
        const std::vector<size_t> last = LastWithTarget(targets);
        std::vector<std::string> kept;
        for (size_t i = 0; i < files_.size(); ++i)
            if (last[i] == i)
                kept.push_back(files_[i]);
            else
                LeaveOut(files_[i], fmt::format("{} is left out: {} goes to the same {}.", files_[i],
                                                files_[last[i]], targets[i].filename().string()));
        files_ = std::move(kept);
    }

    void LeaveOut(const std::string& file, const std::string& why) {
        TellUser(why);
        leftOut_[file] = why;
    }

    // The file itself, or the one of --write-new, or the native form of a foreign file that is transformed.
    std::filesystem::path TargetBeside(const std::string& file) const {
        const bool isOwnFile = request_.inPlace && FoldedExtension(file) == ".kymr-dat";
        return isOwnFile ? std::filesystem::path(file) : NativeNameBeside(file, request_.writeNew);
    }

    void CheckOutput(const std::filesystem::path& out) {
        if (changes_ && files_.size() > 1)
            Wrong("-o takes the result of one FILE; for several there is --write-new.");
        std::vector<std::filesystem::path> sources(files_.begin(), files_.end());
        for (const std::string& file : files_) sources.push_back(SideCarPath(file));
        if (request_.config) sources.emplace_back(*request_.config);
        for (const auto& source : sources)
            if (context_.IsOneFile(source, out)) Wrong("OUT is " + source.string() + ", which is read here.");
        context_.MayReplace(out);
    }

    // --- the recordings ---

    void RunAll() {
        size_t failed = 0;
        for (const std::string& file : named_) {
            if (WasInterrupted()) throw Cancelled();
            if (const auto left = leftOut_.find(file); left != leftOut_.end()) {
                if (request_.json) WriteRunRecord(lines_, RecordOf(file, left->second), *operation_.make());
                continue;
            }
            try {
                RunAndTell(file);
            } catch (const Cancelled&) {
                throw;
            } catch (const OutputClosed&) {
                throw;
            } catch (const std::exception& error) {
                if (WasInterrupted()) throw Cancelled();
                if (named_.size() == 1) throw;
                if (*error.what() != '\0') TellUser(error.what());
                TellUser(file + " failed.");
                ++failed;
            }
        }
        if (failed > 0)
            throw CommandError(exitFailed, fmt::format("{} of {} files failed.", failed, files_.size()));
        if (!leftOut_.empty())
            throw CommandError(exitFailed,
                               fmt::format("{} of {} files were left out.", leftOut_.size(), named_.size()));
    }

    // OUT is written also when some of several files failed, and not when there is nothing to write.
    void RunIntoFile(const std::filesystem::path& out) {
        std::optional<CommandError> failure;
        WriteFileAtomically(context_.files, out, [&](CArchive& archive) {
            ArchiveOutput file(archive);
            file_ = &file;
            try {
                RunAll();
            } catch (const CommandError& error) {
                if (done_ == 0) throw;
                failure = error;
            }
            file_ = nullptr;
        });
        if (failure) throw *failure;
    }

    // Of a file that was not run.
    RunRecord RecordOf(const std::string& file, const std::string& why) const {
        RunRecord record{operation_.className, file};
        record.messages.push_back(why);
        return record;
    }

    // One file, and what JSON tells of it, also where it failed.
    void RunAndTell(const std::string& file) {
        Attempt attempt;
        if (!request_.json) return RunOne(file, attempt);
        context_.host.TakeMessages();
        RunRecord record{operation_.className, file};
        const auto tell = [&] {
            for (std::string& message : context_.host.TakeMessages())
                record.messages.push_back(std::move(message));
            WriteRunRecord(lines_, record, attempt.block ? *attempt.block : *operation_.make());
        };
        try {
            RunOne(file, attempt);
        } catch (const Cancelled&) {
            throw;
        } catch (const std::exception& error) {
            if (WasInterrupted()) throw;
            if (*error.what() != '\0') record.messages.emplace_back(error.what());
            tell();
            throw;
        }
        record.isDone = true;
        record.output = attempt.output;
        tell();
    }

    // One recording with the operation on it; the latter goes first.
    struct Attempt {
        std::unique_ptr<CDataDoc> doc;
        std::unique_ptr<CBatchBaseDlg> block;
        std::optional<std::filesystem::path> output;
    };

    void RunOne(const std::string& file, Attempt& attempt) {
        attempt.doc = context_.Open(file, request_.inPlace ? OpenFor::editing : OpenFor::reading);
        CDataDoc* const doc = attempt.doc.get();
        if (request_.inPlace && !isTransform_)
            if (const std::string fault = InPlaceFault(*doc); !fault.empty())
                throw CommandError(exitFailed, fault);
        // The same draws for a file, whatever files are named beside it.
        context_.session.Seed(context_.session.seed);
        attempt.block = MakeBlock(*doc);
        CBatchBaseDlg* const block = attempt.block.get();
        if (auto* transform = dynamic_cast<CTransformTraceDlg*>(block)) {
            attempt.output = Transform(*doc, *transform, file);
            return;
        }
        const bool done = block->Run();
        if (WasInterrupted()) throw Cancelled();
        if (!done) throw CommandError(exitFailed, "");
        if (changes_)
            attempt.output = Keep(*doc, file);
        else if (request_.output)
            attempt.output = *request_.output;
        WriteResult(*block, file);
        ++done_;
    }

    // The result is written while the recording is read, so that the target is known before.
    std::filesystem::path Transform(CDataDoc& doc, CTransformTraceDlg& dialog, const std::string& file) {
        dialog.m_bNewFile = !request_.inPlace;
        const std::filesystem::path target =
            request_.output ? std::filesystem::path(*request_.output) : TargetBeside(file);
        if (request_.inPlace && target != file) context_.MayReplace(target);
        if (const std::string fault = TransformTargetFault(doc, target); !fault.empty())
            throw CommandError(exitFailed, fault);
        const TransformedFile result = TransformFile(doc, dialog, target);
        // No other recording that is opened here has to do with it.
        context_.session.pendingReset.fill(false);
        // What is in its place is done, whatever came in the last moment.
        if (!result.isDone && WasInterrupted()) throw Cancelled();
        if (!result.isDone) throw CommandError(exitFailed, Trimmed(result.note));
        ++done_;
        return target;
    }

    static std::string Trimmed(std::string text) {
        while (text.ends_with('\n')) text.pop_back();
        return text;
    }

    std::unique_ptr<CBatchBaseDlg> MakeBlock(CDataDoc& doc) {
        auto block = operation_.make();
        if (!record_.empty()) {
            // As in a batch: settings that were saved stay as they are, and none is moved to where it fits
            // this recording without anybody seeing it.
            block->m_bInBatch = true;
            block->TakeSettings(record_);
            block->SettingsWereChosen();
        }
        block->CheckChangeDoc(&doc);
        block->m_bInBatch = false;
        ApplySettings(*block, settings_);
        for (const std::string& text : SettingsWithoutEffect(*block, settings_))
            if (told_.insert(text).second) TellUser(text);
        return block;
    }

    // --- results ---

    // Answers the file that was written.
    std::filesystem::path Keep(CDataDoc& doc, const std::string& file) {
        if (request_.inPlace) {
            const bool saved = SaveInPlace(doc);
            if (!saved && WasInterrupted()) throw Cancelled();
            if (!saved) throw CommandError(exitFailed, "");
            return doc.GetFileType() == typeFloat ? std::filesystem::path(file) : SideCarPath(file);
        }
        const std::filesystem::path out =
            request_.output ? std::filesystem::path(*request_.output) : NativeNameBeside(file, true);
        if (const std::string fault = ReplaceFault(context_.files, out); !fault.empty())
            throw CommandError(exitFailed, fault);
        const bool isLegacy = FoldedExtension(out) == ".flt";
        if (isLegacy) context_.host.Notice("LegacySave", "Notification", legacySaveText);
        WriteNativeFile(doc, out, isLegacy ? legacyFileVersion : currentFileVersion);
        return out;
    }

    void WriteResult(CBatchBaseDlg& block, const std::string& file) {
        const bool hasSeveral = files_.size() > 1;
        // A bar would mix with what is printed on one terminal.
        if (!request_.output && StandardOutput::IsTerminal()) context_.host.HideProgress();
        if (file_ && FoldedExtension(*request_.output) == ".csv") {
            const CsvPart part{hasSeveral ? file : std::string(), done_ == 0};
            WriteCsv(*file_, block.Results(), part, [] { return !WasInterrupted(); });
        } else if (block.HasResultText() && (file_ || !request_.json)) {
            OutputSink& text = file_ ? *file_ : lines_;
            if (hasSeveral) text.Write((done_ == 0 ? "" : "\r\n") + file + "\r\n");
            block.WriteResult([&](std::string_view piece) {
                text.Write(piece);
                return !WasInterrupted();
            });
        }
        if (WasInterrupted()) throw Cancelled();
    }

    SubcommandContext& context_;
    const Operation& operation_;
    const RunRequest& request_;
    LineFeeds lines_;             // to standard output
    OutputSink* file_ = nullptr;  // OUT of an operation that changes nothing
    std::vector<Setting> settings_;
    std::vector<std::byte> record_;               // of the configuration file; empty without one
    std::vector<std::string> named_;              // each once
    std::vector<std::string> files_;              // those of them that are run
    std::map<std::string, std::string> leftOut_;  // the others, whose place another's result takes: why
    std::set<std::string> told_;
    bool changes_ = false;
    bool isTransform_ = false;  // writes a new file itself
    size_t done_ = 0;
};

}  // namespace

void RunOperation(SubcommandContext& context, const Operation& operation, const RunRequest& request,
                  OutputSink& results) {
    OperationRun(context, operation, request, results).Run();
}

}  // namespace kymora
