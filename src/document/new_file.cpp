// What new files hold.

#include "document/new_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

#include "document/axis_limits.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "numerics/expression.h"

namespace kymora {

namespace {

constexpr int64_t blockSamples = 32768;
// Some equations take long, and Cancel is asked for once a block.
constexpr int64_t equationBlockSamples = 4096;

void DescribeUserDefined(CDataDoc& doc, const UserDefinedSettings& settings) {
    doc.sampleInterval = settings.sampleInterval;
    doc.traceCount = 1;
    TraceSettings& trace = doc.traces[0];
    trace.traceAutoscale = 1;
    trace.traceOrder = 0;
    trace.traceLabel = settings.equation + "; ";
    trace.axisLabel = "Ax 1";
    doc.view.viewEnd = static_cast<double>(settings.samples - 1) * settings.sampleInterval;
    const auto count = static_cast<uint32_t>(settings.samples);
    doc.validRuns[0] = settings.dummyData ? RunList({0, count}) : RunList({count});
    doc.UpdateGapFlags();
    doc.fileComment = settings.comment;
    doc.AppendNewRecordHistory("File: New: User defined\r\n\r\n");
}

struct MissingNumbers {
    int64_t count = 0;
    double firstTime = 0.0;  // ms
};

// Writes the value of the equation at each sample.
MissingNumbers WriteEquation(Session& session, CArchive& archive, CDataDoc& doc,
                             const UserDefinedSettings& settings) {
    double t = 0.0;
    Expression expression(session.random);
    BindTime(expression, t);
    if (const std::string fault = expression.Parse(settings.equation); !fault.empty())
        throw std::invalid_argument(fault);
    ProgressScope progress(session.host, "Writing", static_cast<uint64_t>(settings.samples));
    AxisLimits limits;
    MissingNumbers missing;
    std::vector<float> block;
    for (int64_t at = 0; at < settings.samples; at += equationBlockSamples) {
        block.resize(static_cast<size_t>(std::min(equationBlockSamples, settings.samples - at)));
        for (size_t i = 0; i < block.size(); ++i) {
            t = static_cast<double>(at + static_cast<int64_t>(i)) * settings.sampleInterval;
            block[i] = static_cast<float>(expression.Evaluate());
            if (std::isnan(block[i]) && missing.count++ == 0) missing.firstTime = t;
        }
        limits.Include(block);
        archive.WriteRaw(std::as_bytes(std::span(block)));
        progress.Step(block.size());
    }
    limits.Give(doc.traces[0]);
    return missing;
}

std::string NumberList(const std::vector<int>& slots) {
    std::string text;
    for (const int slot : slots) text += (text.empty() ? "" : " ") + std::to_string(slot + 1);
    return text;
}

std::string NameList(const std::vector<CDataDoc*>& files) {
    std::string text;
    for (const CDataDoc* file : files) text += file->filePath.string() + "\r\n";
    return text;
}

void DescribeAverage(CDataDoc& doc, const AveragedFiles& settings) {
    const CDataDoc& first = *settings.files.front();
    doc.sampleInterval = first.sampleInterval;
    doc.traceCount = static_cast<int32_t>(settings.traces.size());
    for (size_t i = 0; i < settings.traces.size(); ++i) {
        const TraceSettings& source = first.traces[static_cast<size_t>(settings.traces[i])];
        TraceSettings& trace = doc.traces[i];
        trace.traceLabel = "Avg: " + source.traceLabel;
        trace.axisLabel = source.axisLabel;
        trace.traceUnits = source.traceUnits;
        trace.traceAutoscale = 1;
        doc.validRuns[i] = RunList({static_cast<uint32_t>(first.GetLength())});
    }
    doc.UpdateGapFlags();
    doc.view.viewEnd = first.GetEndTime();
    doc.fileComment = settings.comment;
    doc.AppendNewRecordHistory("File: New: From average\r\nTraces: " + NumberList(settings.traces) +
                               "\r\nFiles\r\n" + NameList(settings.files) + "\r\n");
}

void WriteMeanOfTrace(CArchive& archive, const AveragedFiles& settings, int slot, TraceSettings& trace,
                      ProgressScope& progress) {
    const int64_t length = settings.files.front()->GetLength();
    const auto count = static_cast<float>(settings.files.size());
    AxisLimits limits;
    std::vector<float> sum, samples;
    for (int64_t at = 0; at < length; at += blockSamples) {
        sum.assign(static_cast<size_t>(std::min(blockSamples, length - at)), 0.0f);
        samples.resize(sum.size());
        for (CDataDoc* file : settings.files) {
            file->ReadBlock(slot, at, samples);
            for (size_t i = 0; i < sum.size(); ++i) sum[i] += samples[i];
        }
        for (float& value : sum) value /= count;
        limits.Include(sum);
        archive.WriteRaw(std::as_bytes(std::span(sum)));
        progress.Step(sum.size());
    }
    limits.Give(trace);
}

}  // namespace

void BindTime(Expression& expression, double& t) {
    for (const char* name : {"t", "x", "xt"}) expression.Bind(name, t);
}

std::string CheckUserDefined(Session& session, const UserDefinedSettings& settings) {
    if (settings.dummyData) return {};
    double t = 0.0;
    std::mt19937 trial = session.random;  // trying an equation draws nothing
    Expression expression(trial);
    BindTime(expression, t);
    return expression.Parse(settings.equation);
}

void WriteUserDefinedFile(Session& session, const UserDefinedSettings& settings,
                          const std::filesystem::path& path) {
    CFloatDoc doc(session);
    DescribeUserDefined(doc, settings);
    MissingNumbers missing;
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        WriteHead(archive, doc);
        if (!settings.dummyData) missing = WriteEquation(session, archive, doc, settings);
        WriteTail(archive, doc, doc.fileComment);
    });
    if (missing.count > 0)
        session.host.Message(fmt::format(
            "The equation has no number at {} of {} samples, first at {:.9g} ms. A view ends where "
            "the first trace has no number.",
            missing.count, settings.samples, missing.firstTime));
}

std::optional<std::vector<CDataDoc*>> ConsistentFiles(Host& host, std::span<CDataDoc* const> files) {
    std::vector<CDataDoc*> retained;
    for (CDataDoc* file : files) {
        if (file->hasGaps) {
            host.Message(
                "This file has gaps in it, and the process cannot handle gaps. Re-open in gap-free mode.");
            return {};
        }
    }
    for (CDataDoc* file : files) {
        const CDataDoc& first = *files.front();
        const bool isAlike = file->traceCount == first.traceCount && file->GetLength() == first.GetLength() &&
                             file->sampleInterval == first.sampleInterval;
        if (isAlike)
            retained.push_back(file);
        else if (!host.Confirm(fmt::format(
                     "Inconsistent channels, rate or length in file {}. OK to skip, Cancel to abort",
                     file->filePath.string())))
            return {};
    }
    return retained;
}

void WriteAverageFile(Session& session, const AveragedFiles& settings, const std::filesystem::path& path) {
    session.host.Log("File new average will process files:\n" + NameList(settings.files));
    CFloatDoc doc(session);
    DescribeAverage(doc, settings);
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        WriteHead(archive, doc);
        ProgressScope progress(session.host, "Averaging",
                               static_cast<uint64_t>(doc.traceCount * doc.GetLength()));
        for (size_t i = 0; i < settings.traces.size(); ++i) {
            progress.AtTrace(i + 1, settings.traces.size());
            WriteMeanOfTrace(archive, settings, settings.traces[i], doc.traces[i], progress);
        }
        WriteTail(archive, doc, doc.fileComment);
    });
}

}  // namespace kymora
