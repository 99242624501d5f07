#include "import/edf_dialogs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>

#include "host/form.h"
#include "import/channel_choice.h"

namespace kymora {

namespace {

constexpr const char* layoutKey = "Show CEDFAnnotLayout";
constexpr int firstYearOfLastCentury = 85;

double SampleIntervalOf(const EdfHeader& header, const EdfSignal& signal) {
    return signal.samplesPerRecord > 0 ? header.recordDuration * 1000.0 / signal.samplesPerRecord : 0.0;
}

std::string SignalText(const EdfHeader& header, const EdfSignal& signal, size_t number) {
    std::string text = fmt::format("{}: {}", number, signal.label);
    const double interval = SampleIntervalOf(header, signal);
    if (!signal.dimension.empty()) text += fmt::format("  [{}]", signal.dimension);
    if (interval > 0.0) text += fmt::format("  {:.6g} Hz", 1000.0 / interval);
    return text;
}

std::string WithColons(std::string time) {
    std::replace(time.begin(), time.end(), '.', ':');
    return time;
}

std::string SummaryText(const EdfHeader& header) {
    return fmt::format("{}: {} records of {:.9g} s, from {} {}", EdfTypeText(header), header.dataRecords,
                       header.recordDuration, EdfDateText(header.startDate), WithColons(header.startTime));
}

std::vector<std::vector<std::string>> SignalRows(const EdfHeader& header) {
    std::vector<std::vector<std::string>> rows;
    for (size_t i = 0; i < header.signals.size(); ++i) {
        const EdfSignal& signal = header.signals[i];
        const double interval = SampleIntervalOf(header, signal);
        rows.push_back({std::to_string(i + 1), signal.label,
                        signal.isAnnotations || interval == 0.0 ? "" : fmt::format("{:.6g} ms", interval),
                        signal.dimension, signal.prefilter, signal.transducer});
    }
    return rows;
}

}  // namespace

std::optional<std::vector<int>> ChooseEdfSignalsByDialog(Session& session, const EdfHeader& header,
                                                         const std::vector<int>& proposed) {
    ChannelQuestion question{"signals", SummaryText(header), "Channels to show as traces",
                             "Signals of different rates share the finest common sample interval, so that "
                             "choosing signals of like rates saves time and memory."};
    question.most = header.MostTraces();
    const auto& ordinary = header.ordinarySignals;
    for (size_t i = 0; i < ordinary.size(); ++i) {
        question.names.push_back(SignalText(header, header.Signal(ordinary[i]), i + 1));
        if (std::find(proposed.begin(), proposed.end(), ordinary[i]) != proposed.end())
            question.proposed.push_back(static_cast<int>(i));
    }
    question.showDetails = [&] {
        Form details = EdfInfoForm(session, header, {});
        session.host.AskForm(details);
    };
    auto chosen = AskChannels(session, question);
    if (chosen)
        for (int& place : *chosen) place = ordinary[static_cast<size_t>(place)];
    return chosen;
}

std::optional<bool> AskSeparateAnnotations(Session& session, int64_t count) {
    if (const auto last = session.silencedDialogs.find(layoutKey); last != session.silencedDialogs.end())
        return last->second == 0;
    Form form("Annotation Layout");
    form.AddNote(
        "explanation",
        "This is an EDF+ file that contains one or more TALs (time-associated annotation lists).\n\nThe "
        "first TAL in each record marks the Start time of each record. This will be placed in Event "
        "channel a.");
    form.AddNote("count", fmt::format("Total TAL count (excluding Start time marks): {}", count));
    form.AddRadio("layout", "",
                  {"Place any subsequent TALs in separate event channels",
                   "Place any subsequent TALS within the same Annotation signal in the same event channel"},
                  1, "One channel for each annotation, or one for each annotation signal of the file.");
    form.AddFlag("silence", "Do not show again this session", false,
                 "The other EDF+ files of this session are laid out in the same way.");
    if (!session.host.AskForm(form)) return {};
    if (form.Flag("silence")) session.silencedDialogs[layoutKey] = form.Choice("layout");
    return form.Choice("layout") == 0;
}

Form EdfInfoForm(Session& session, const EdfHeader& header, std::function<std::string()> annotations) {
    Form form(fmt::format("{} File Details", header.Name()));
    form.AddNote("type", EdfTypeText(header), "File type");
    form.AddNote("records", std::to_string(header.dataRecords), "Number of records");
    form.AddNote("duration", fmt::format("{:.9g} s", header.recordDuration), "Record duration");
    form.AddNote("patient", header.patient, "Patient");
    form.AddNote("recording", header.recording, "Recording");
    form.AddNote("date", EdfDateText(header.startDate), "Date (day/month/year)");
    form.AddNote("time", WithColons(header.startTime), "Time (to nearest s)");
    form.AddNote("signalCount", std::to_string(header.signals.size()), "Number of signals");
    form.AddTable("signals", {"Chan", "Label", "Sample interval", "Dim", "Pre-filter", "Transducer type"},
                  SignalRows(header));
    const bool any = annotations && !header.annotationSignals.empty();
    form.AddAction(
            "annotations", "Annotations list...",
            [&session, annotations = std::move(annotations)](Form&) {
                session.host.ShowText("Annotations", annotations());
            },
            "Shows all annotations of the file as text, also those that are no events.")
        .enabled = [any](const Form&) { return any; };
    return form;
}

std::string EdfDateText(const std::string& headerDate) {
    unsigned day = 0, month = 0, year = 0;
    if (std::sscanf(headerDate.c_str(), "%2u.%2u.%2u", &day, &month, &year) != 3) return headerDate;
    return fmt::format("{}/{}/{}", day, month, year + (year >= firstYearOfLastCentury ? 1900 : 2000));
}

}  // namespace kymora
