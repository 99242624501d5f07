#include "catalogue/operations.h"

#include <algorithm>

#include "detection/detect_spikes.h"
#include "detection/event_activity.h"
#include "detection/event_hill_analysis.h"
#include "detection/event_osc.h"
#include "detection/event_threshold.h"
#include "detection/spike_detect_thresh.h"
#include "eventanalysis/event_list.h"
#include "eventanalysis/freq_mult.h"
#include "eventedit/event_adjust_times.h"
#include "eventedit/event_freq_filter.h"
#include "eventedit/event_label_filter.h"
#include "eventedit/event_logic.h"
#include "eventedit/event_map_999.h"
#include "eventedit/event_merge_overlap.h"
#include "eventedit/event_outlier_detect.h"
#include "eventedit/event_reorder.h"
#include "eventedit/event_shuffle_resample.h"
#include "eventedit/event_time_filter.h"
#include "eventedit/event_value_filter.h"
#include "eventedit/insert_random_point_process.h"
#include "eventedit/make_point_process.h"
#include "exchange/append_recording.h"
#include "exchange/import_events.h"
#include "exchange/interpolate_gen.h"
#include "exchange/load_event_channel.h"
#include "exchange/new_contiguous.h"
#include "exchange/new_sparse.h"
#include "exchange/partition_from_file.h"
#include "exchange/paste_event_channels.h"
#include "exchange/paste_sparse_trace.h"
#include "fitting/curve_fit.h"
#include "fitting/curve_fit_gen.h"
#include "fitting/fit_time_const_base.h"
#include "fitting/remove_exp_drift.h"
#include "fitting/robust_fit_gen.h"
#include "frequency/dwt_analysis.h"
#include "frequency/morlet_scalogram.h"
#include "frequency/sonogram.h"
#include "frequency/spectrum_anal_dlg.h"
#include "frequency/wavelet_denoise.h"
#include "histograms/event_hist.h"
#include "histograms/general_hist.h"
#include "histograms/hist_trace_val.h"
#include "operations/graphics_file_format.h"
#include "rhythms/event_burst_detect.h"
#include "rhythms/event_rhythm_detect.h"
#include "rhythms/event_rhythm_helper.h"
#include "sorting/cluster_ctrl.h"
#include "sorting/cluster_traces.h"
#include "sorting/compare_sortings.h"
#include "sorting/find_shapes.h"
#include "sorting/import_sorting.h"
#include "sorting/ntrode_pca.h"
#include "sorting/pca_nipals.h"
#include "templates/multi_trace_pattern.h"
#include "templates/pattern_recognition.h"
#include "templates/template_error_hist.h"
#include "trains/event_correl_idx.h"
#include "trains/event_sojourn_analysis.h"
#include "trains/jpsth.h"
#include "trains/stim_resp_raster.h"
#include "transforms/arbitrary_arith.h"
#include "transforms/change_timebase.h"
#include "transforms/debuzz.h"
#include "transforms/derivs.h"
#include "transforms/digital_fir.h"
#include "transforms/filter_rc_dlg.h"
#include "transforms/gen_smooth.h"
#include "transforms/integrate_dlg.h"
#include "transforms/interpolate.h"
#include "transforms/local_energy.h"
#include "transforms/multi_process.h"
#include "transforms/narrow_band_dlg.h"
#include "transforms/normalize_dlg.h"
#include "transforms/reduce.h"
#include "transforms/remove_local_dc.h"
#include "transforms/resample.h"
#include "transforms/section_filter_dlg.h"
#include "transforms/unitary_transform.h"

namespace kymora {

namespace {

template <typename T>
std::unique_ptr<CBatchBaseDlg> Make() {
    return std::make_unique<T>();
}

constexpr std::string_view transformMenu = "T&ransform";
constexpr std::string_view filterMenu = "T&ransform/&Filter";
constexpr std::string_view smoothMenu = "T&ransform/&Filter/&Smooth";
constexpr std::string_view arithmeticMenu = "T&ransform/&Arithmetic";
constexpr std::string_view resampleMenu = "T&ransform/&Sample rate";
constexpr std::string_view detectMenu = "Anal&yse/&Detect events";
constexpr std::string_view groupMenu = "Anal&yse/&Bursts and rhythm";
constexpr std::string_view sortMenu = "Anal&yse/&Spike sorting";
constexpr std::string_view trainsMenu = "Anal&yse/Spi&ke trains";
constexpr std::string_view editMenu = "Anal&yse/&Edit events";
constexpr std::string_view logicMenu = "Anal&yse/&Edit events/&Logic";
constexpr std::string_view fitMenu = "Anal&yse/&Fit curves";
constexpr std::string_view listMenu = "Anal&yse";
constexpr std::string_view frequencyMenu = "Anal&yse/Ti&me and frequency";
constexpr std::string_view externalMenu = "E&xternal data";

// clang-format off
constexpr OperationVariant smoothers[] = {
    {"moving-average", "&Moving average...", "Replaces each sample by the mean of those around it", "type", "0"},
    {"moving-median", "Moving m&edian...", "Replaces each sample by the median of those around it, which takes spikes away and keeps steps", "type", "1"},
    {"moving-percentile", "Moving &percentile...", "Replaces each sample by a percentile of those around it, which follows a baseline or an envelope", "type", "2"},
    {"gaussian", "&Gaussian...", "Smooths by a Gaussian with a cutoff frequency", "type", "3"},
    {"robust-lowess", "Robust &LOWESS...", "Fits a polynomial around each sample and leaves outliers out", "type", "4"},
    {"savitzky-golay", "&Savitzky-Golay...", "Fits a polynomial around each sample, which keeps the height of peaks", "type", "5"},
};
constexpr OperationVariant logics[] = {
    {"event-and", "&AND...", "Makes an event of each stretch that lies in events of all channels", "logic", "0"},
    {"event-or", "&OR...", "Makes an event of each stretch that lies in an event of any of the channels", "logic", "1"},
    {"event-xor", "&XOR...", "Makes an event of each stretch that lies in one of two channels alone, or in an odd number of more", "logic", "2"},
    {"event-not", "&NOT...", "Makes an event of each stretch of the recording that lies in no event of the channels", "logic", "3"},
    {"event-equals", "&EQUALS...", "Makes an event of each stretch that lies in events of all channels, or in none", "logic", "4"},
    {"event-and-not", "AND NO&T...", "Keeps the events of a channel that do not lie within events of others", "logic", "5"},
};
// clang-format on

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

const char* OperationKind(const CBatchBaseDlg& block) {
    switch (block.WhatItAffects()) {
    case Affects::events:
        return "event";
    case Affects::nothing:
        return "listing";
    default:
        return "trace";
    }
}

std::string PlainMenuPath(std::string_view menu) {
    std::string path;
    for (const char c : menu)
        if (c == '/')
            path += " > ";
        else if (c != '&')
            path += c;
    return path;
}

// A capital begins a word when a small letter stands before it, or behind it; a row of capitals is one word.
std::string Operation::KebabName() const {
    const bool hasPrefix = className.size() > 1 && className[0] == 'C' && IsUpper(className[1]);
    const std::string_view name = className.substr(hasPrefix ? 1 : 0);
    std::string kebab;
    for (size_t i = 0; i < name.size(); ++i) {
        const bool startsWord = i > 0 && IsUpper(name[i]) &&
                                (!IsUpper(name[i - 1]) || (i + 1 < name.size() && IsLower(name[i + 1])));
        if (startsWord) kebab += '-';
        kebab += IsUpper(name[i]) ? static_cast<char>(name[i] - 'A' + 'a') : name[i];
    }
    return kebab;
}

std::span<const Operation> Operations() {
    // clang-format off
    static const std::vector<Operation> table = {
        {"CGenSmooth", smoothMenu, "&Smooth...", "Smooths traces by one of six methods", Make<CGenSmooth>, {}, smoothers},
        {"CDigitalFIR", filterMenu, "&Digital FIR...", "Band pass or band stop without phase shift, with up to 201 coefficients", Make<CDigitalFIR>},
        {"CFilterRCDlg", filterMenu, "&RC-type...", "Low-pass or high-pass as of a resistor and a capacitor", Make<CFilterRCDlg>},
        {"CNarrowBandDlg", filterMenu, "&Narrow band...", "Takes a narrow band out, or lets only that pass", Make<CNarrowBandDlg>},
        {"CClassicFilter", filterMenu, "&Butterworth, Bessel...", "Low-pass, high-pass, band pass or band stop of any order, with or without phase shift", Make<CClassicFilter>},
        {"CHarmonicNotch", filterMenu, "Notch with &harmonics...", "Takes a frequency and its multiples out", Make<CHarmonicNotch>},
        {"CRemoveLocalDC", filterMenu, "Remove &local DC...",
         "Takes slow changes of the baseline away: each sample less the mean of those around it", Make<CRemoveLocalDC>},
        {"CDebuzz", filterMenu, "De-bu&zz...",
         "Takes mains noise out by a template of its cycles, which leaves all other frequencies alone", Make<CDebuzz>},
        {"CWaveletDenoise", filterMenu, "De-noise with &wavelets...",
         "Takes out what wavelets show to be noise, and keeps steps and spikes", Make<CWaveletDenoise>},
        {"CMultiProcess", transformMenu, "De-&mean/median, rectify, smooth...",
         "Subtracts a mean or median, rectifies and smooths, in one step", Make<CMultiProcess>},
        {"CUnitaryTransform", arithmeticMenu, "&Offset, scale, rectify...",
         "Adds to, multiplies and rectifies the samples of a trace, in an order of your own", Make<CUnitaryTransform>},
        {"CArbitraryArith", arithmeticMenu, "&Expression...",
         "Makes a trace from an expression of all traces and the time", Make<CArbitraryArith>},
        {"CNormalize", transformMenu, "&Normalize...",
         "Brings traces to a common range, or to their change relative to a baseline", Make<CNormalize>},
        {"CDerivs", transformMenu, "&Derivative...", "Takes the first, second or third derivative in time", Make<CDerivs>},
        {"CIntegrate", transformMenu, "&Integral...", "Sums samples up, with resets, or in bins", Make<CIntegrate>},
        {"CLocalEnergy", transformMenu, "&Local energy...",
         "Takes the k-Teager energy, which stresses what is both large and fast", Make<CLocalEnergy>, "CTeagerEnergyOperator"},
        {"CRemoveExpDrift", transformMenu, "Remove e&xponential drop...",
         "Takes a drift that one or two exponentials describe out of traces", Make<CRemoveExpDrift>},
        {"CAppendRecording", transformMenu, "App&end recording...",
         "Puts the scans of another recording file behind those of this one, as an episode of its own", Make<CAppendRecording>},
        {"CPasteSparseTrace", transformMenu, "&Paste sparse trace...",
         "Makes a trace of points in time, with gaps or a curve between them", Make<CPasteSparseTrace>},
        {"CReduce", resampleMenu, "&Reduce frequency...",
         "Makes one sample of several neighbours: their mean, the first of them, or their extremes", Make<CReduce>},
        {"CInterpolate", resampleMenu, "&Increase frequency...",
         "Makes several samples of each one, by a low-pass filter or along straight lines", Make<CInterpolate>},
        {"CResample", resampleMenu, "Re&sample...",
         "Changes the sample rate by a fraction, with a filter against what the new rate cannot hold", Make<CResample>},
        {"CChangeTimebase", resampleMenu, "Change data &timebase...",
         "Gives the samples another interval, and leaves them as they are", Make<CChangeTimebase>},
        {"CEventThreshold", detectMenu, "&Threshold Event...",
         "Make an event of each stretch of a trace that lies beyond an onset level", Make<CEventThreshold>},
        {"CDetectSpikes", detectMenu, "Detect &Outliers...",
         "Make an event of each run of samples that lie far from the mean of a stretch of noise", Make<CDetectSpikes>},
        {"CSpikeDetectThresh", detectMenu, "Detect &Spikes by Threshold...",
         "Tune a rule for spikes on a short stretch of data, and run it over the analysis region", Make<CSpikeDetectThresh>},
        {"CEventHillAnalysis", detectMenu, "&Hill-valley analysis...",
         "Make an event of each hill or valley of a slow signal, between fractions of its slopes", Make<CEventHillAnalysis>},
        {"CEventActivity", detectMenu, "&Activity level...",
         "Mark the stretch of a trace in which most happens, and that in which least does", Make<CEventActivity>},
        {"CEventOsc", detectMenu, "&Rhythm in data...",
         "Mark where a trace swings rhythmically, by an autocorrelation that slides along it", Make<CEventOsc>},
        {"CEventBurstDetect", groupMenu, "&Burst detect...",
         "Makes an event of each burst of events, by surprise or by the lengths of intervals", Make<CEventBurstDetect>},
        {"CEventRhythmDetect", groupMenu, "&Rhythm in events...",
         "Makes an event of each stretch in which events follow each other at regular intervals", Make<CEventRhythmDetect>},
        {"CEventRhythmHelper", groupMenu, "Rhythm analysis &helper...",
         "Makes a channel of pattern events, follows their frequency and duration, and mends those that do not fit", Make<CEventRhythmHelper>},
        {"CPCANipals", sortMenu, "PCA (&NIPALS)...",
         "Finds the principal components of the waveforms of events, one after the other, and keeps the weights with the events", Make<CPCANipals>},
        {"CPrincipalComponentAnalysis", sortMenu, "PCA (c&ovariance)...",
         "Finds the principal components of the waveforms of events by their covariance matrix, and keeps the weights with the events", Make<CPrincipalComponentAnalysis>},
        {"CClusterCtrl", sortMenu, "&Cluster events...",
         "Finds clusters of events by any of their parameters, and how many there are", Make<CClusterCtrl>},
        {"CNTrodePCA", sortMenu, "PCA and clusters of &several traces...",
         "Finds the principal components of waveforms on one or several traces at once, and the clusters of their weights", Make<CNTrodePCA>},
        {"CClusterTraces", sortMenu, "Cluster &traces...",
         "Finds clusters of traces whose courses resemble each other, by their principal components", Make<CClusterTraces>},
        {"CFindShapes", sortMenu, "Spike so&rter...",
         "Splits a channel of candidate spikes into a channel for each neuron, and takes overlapping spikes apart", Make<CFindShapes>},
        {"CCompareSortings", sortMenu, "Co&mpare sortings...",
         "Scores sorted units against known spikes: recall, precision and F1 of each pair of channels", Make<CCompareSortings>},
        {"CImportSorting", sortMenu, "&Import sorting...",
         "Reads the clusters that a tool for manual curation has left in a folder, an event channel each", Make<CImportSorting>},
        {"CPatternRecognition", detectMenu, "Template Re&cognition...",
         "Makes an event of each place in a trace where the signal resembles a captured waveform", Make<CPatternRecognition>},
        {"CMultiTracePatternRecognition", detectMenu, "&Multi-Trace Template Recognition...",
         "Makes an event of each place where waveforms of several traces are found at once", Make<CMultiTracePatternRecognition>},
        {"CEventLogic", logicMenu, "Event &logic...", "Combines event channels by logic", Make<CEventLogic>, {}, logics},
        {"CEventMergeOverlap", editMenu, "&Merge overlaps...",
         "Makes one event of those that overlap, within a channel or between several", Make<CEventMergeOverlap>},
        {"CEventTimeFilter", editMenu, "Filter by &time...",
         "Joins events that lie close together, and leaves out those that last too short or too long", Make<CEventTimeFilter>},
        {"CEventFreqFilter", editMenu, "Filter by &frequency...",
         "Keeps the events, such as bursts, within which others begin often and regularly enough", Make<CEventFreqFilter>},
        {"CEventValueFilter", editMenu, "Filter by &value...",
         "Keeps the events whose duration, interval, amplitude or other value lies beyond a limit", Make<CEventValueFilter>},
        {"CEventLabelFilter", editMenu, "Filter by la&bel...",
         "Keeps the events whose label contains a text, or is it", Make<CEventLabelFilter>},
        {"CEventAdjustTimes", editMenu, "&Adjust start and end times...",
         "Moves, lengthens or shortens events, or sets them around the peak of their samples", Make<CEventAdjustTimes>},
        {"CMakePointProcess", editMenu, "Make &point process...",
         "Makes one sample of each event: a part of its duration, its centre of gravity, or an extreme", Make<CMakePointProcess>},
        {"CEventShuffleResample", editMenu, "S&huffle or resample intervals...",
         "Makes a surrogate channel with the same intervals in an order of chance", Make<CEventShuffleResample>},
        {"CEventInsertRandomPointProcess", editMenu, "Insert &regular-random point process...",
         "Makes events at intervals that are drawn from a distribution, or all equal", Make<CEventInsertRandomPointProcess>},
        {"CEventReorder", editMenu, "Reor&der channels...",
         "Puts event channels one behind the other, in an order of your own", Make<CEventReorder>},
        {"CEventMap999", editMenu, "Map &channels...",
         "Shows, hides, moves, copies and colours any of the 999 event channels", Make<CEventMap999>},
        {"CEventOutlierDetect", editMenu, "", "Does nothing yet; chains that name it can be read", Make<CEventOutlierDetect>},
        {"CJPSTH", trainsMenu, "&JPSTH...",
         "Shows how often two channels have events together around a stimulus, against what chance makes of it", Make<CJPSTH>},
        {"CEventCorrelIdx", trainsMenu, "Event &Correlation Index...",
         "Tells how much each pair of channels has to do with each other: correlation index or spike time tiling coefficient", Make<CEventCorrelIdx>},
        {"CStimRespRaster", trainsMenu, "Stimulus-response &raster...",
         "Shows the responses to stimuli as rows of marks, and tags and colours those that are selected", Make<CStimRespRaster>},
        {"CEventSojournAnalysis", trainsMenu, "&Sojourn Analysis...",
         "Shows how long events or the pauses between them last, and fits exponentials to it", Make<CEventSojournAnalysis>},
        {"CEventList", listMenu, "&List event parameters...",
         "Lists the parameters of events as a table", Make<CEventList>},
        {"CEventHist", listMenu, "Event &histogram...",
         "Shows the distribution of a parameter of events, counts in time, or the times of one train around another", Make<CEventHist>},
        {"CHistTraceVal", listMenu, "&Trace value histogram...",
         "Shows the distribution of the sample values of a trace", Make<CHistTraceVal>},
        {"CTemplateErrorHist", listMenu, "Template &error histogram...",
         "Shows the distribution of errors of a template, to place the threshold", Make<CTemplateErrorHist>},
        {"CFreqMult", listMenu, "Fre&quency multiplier...",
         "Shows a spike at a multiple of its sample rate, to find the one that restores its shape", Make<CFreqMult>},
        {"CSpectrumAnalDlg", frequencyMenu, "&Spectrum, coherence...",
         "Shows the power spectrum of a trace, the cross-spectrum of two, or their coherence, while the view scrolls", Make<CSpectrumAnalDlg>},
        {"CSonogram", frequencyMenu, "Spectro&gram...",
         "Shows how the power spectrum of a trace changes along it, as colours and as a surface", Make<CSonogram>},
        {"CDWTAnalysis", frequencyMenu, "&Wavelets...",
         "Shows the discrete wavelet transform of a trace band by band, and what is left when coefficients are edited", Make<CDWTAnalysis>},
        {"CMorletScalogram", frequencyMenu, "&Morlet scalogram...",
         "Shows power by time and frequency with octaves of one height, by the wavelet of Morlet", Make<CMorletScalogram>},
        {"CGeneralHist", listMenu, "Histogram of &numbers...",
         "Shows the distribution of numbers from a text file", Make<CGeneralHist>},
        {"CCurveFit", fitMenu, "&Curve fit...",
         "Fits an equation of your own to a stretch of a trace, and takes the curve out of the data", Make<CCurveFit>},
        {"CFitTimeConst", fitMenu, "&Time constant...",
         "Fits one or two exponentials, or the charging of a cable, to a stretch of a trace", Make<CFitTimeConst>},
        {"CTimeConstLog", fitMenu, "Time constants after &events...",
         "Fits a relaxation to the mean of segments at events, or to each of them", Make<CTimeConstLog>},
        {"CCurveFitGen", fitMenu, "Curve fit of a ta&ble...",
         "Fits an equation of your own to X and Y values from a text file or the clipboard", Make<CCurveFitGen>},
        {"CRobustFitGen", fitMenu, "&Robust fit of a table...",
         "Draws a smooth or a polynomial through X and Y values, in which outliers lose their weight", Make<CRobustFitGen>},
        {"CInterpolateGen", externalMenu, "&Interpolate time series...",
         "Calculates and shows the curve through fixed points, by one of six methods", Make<CInterpolateGen>},
        {"LoadEventChannel", {}, {}, "Puts the channel of an event file (.kymr-evt) into the recording", Make<LoadEventChannel>},
        {"ImportEventsFromText", {}, {}, "Adds events whose times stand in a text file, one event in each row", Make<ImportEventsFromText>},
        {"PasteEventChannels", {}, {}, "Adds the event channels or the rows of events that the clipboard holds", Make<PasteEventChannels>},
        {"PartitionFromFile", {}, {},
         "Copies the events of a channel into several, by a file with the number of each event's class", Make<PartitionFromFile>},
        {"PasteContiguousData", {}, {}, "Makes a recording of a table whose rows are samples, one column for each trace", Make<CPasteContiguousData>},
        {"PasteSparseData", {}, {}, "Makes a recording of points in time, with gaps or a curve between them", Make<CPasteSparseData>},
        {"CGraphicsFileFormat", {}, {}, "Keeps the settings of vector files, for views and plots", Make<CGraphicsFileFormat>},
    };
    // clang-format on
    return table;
}

const Operation* FindOperation(std::string_view name) {
    const auto operations = Operations();
    const auto found = std::find_if(operations.begin(), operations.end(), [&](const Operation& operation) {
        return operation.className == name || operation.KebabName() == name ||
               (!operation.olderName.empty() && operation.olderName == name);
    });
    return found == operations.end() ? nullptr : &*found;
}

std::vector<OperationEntry> EntriesOf(std::span<const Operation> operations) {
    std::vector<OperationEntry> entries;
    for (const Operation& operation : operations) {
        if (operation.label.empty()) continue;
        if (operation.variants.empty()) entries.push_back({&operation, nullptr});
        for (const OperationVariant& variant : operation.variants) entries.push_back({&operation, &variant});
    }
    return entries;
}

OperationEntry FindOperationEntry(std::string_view id) {
    for (const OperationEntry& entry : EntriesOf(Operations()))
        if (entry.Id() == id) return entry;
    return {};
}

}  // namespace kymora
