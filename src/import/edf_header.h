#pragma once
// The header of a European Data Format file (EDF, Kemp et al. 1992; EDF+, Kemp and Olivan 2003) or of its
// form with numbers of 24 bits (BDF, BioSemi; BDF+) as plain structs. Number fields are converted as they
// stand: blanks before, then as many characters as make a number, in which a comma may stand for the point; a
// bad number gives 0. What makes a file
// unreadable is thrown as OpenError, what is merely odd becomes a note.

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "document/data_doc.h"
#include "host/file_system.h"

namespace kymora {

enum class EdfType { plain, continuous, discontinuous };

// From stored numbers to physical units: (number - digitalMinimum) x scale + physicalMinimum, in double
// precision.
struct EdfScale {
    double digitalMinimum = 0.0;
    double scale = 1.0;
    double physicalMinimum = 0.0;

    float Apply(double number) const {
        return static_cast<float>((number - digitalMinimum) * scale + physicalMinimum);
    }
};

struct EdfSignal {
    std::string label;
    std::string transducer;
    std::string dimension;
    std::string prefilter;
    double physicalMinimum = 0.0;
    double physicalMaximum = 0.0;
    int32_t digitalMinimum = 0;
    int32_t digitalMaximum = 0;
    int32_t samplesPerRecord = 0;

    bool isAnnotations = false;
    int64_t sliceOffset = 0;      // bytes of the earlier signals in a record
    int32_t expansionFactor = 1;  // document samples per sample of this signal; of chosen signals only
    int64_t samplesInFile = 0;
    EdfScale scale;  // the identity when the limits give none
};

inline constexpr int maxEdfTraces = 16;

struct EdfHeader {
    bool is24Bit = false;  // BDF
    std::string version;
    std::string patient;
    std::string recording;
    std::string startDate;  // dd.mm.yy
    std::string startTime;  // hh.mm.ss
    int64_t headerLength = 0;
    EdfType type = EdfType::plain;
    int64_t missingRecords = 0;   // that its header says and the file does not hold
    int64_t dataRecords = 0;      // whole records that the file holds, at most as many as its header says
    double recordDuration = 0.0;  // s
    int64_t bytesPerRecord = 0;
    std::vector<EdfSignal> signals;
    std::vector<int> annotationSignals;  // indexes in `signals`, of those that have bytes
    std::vector<int> ordinarySignals;    // all that are not for annotations
    std::vector<std::string> notes;      // oddities, a line each, for the log

    const char* Name() const { return is24Bit ? "BDF" : "EDF"; }
    int64_t NumberBytes() const { return is24Bit ? 3 : 2; }
    // How many signals can be traces.
    size_t MostTraces() const { return is24Bit ? size_t{maxTraces} : size_t{maxEdfTraces}; }
    const EdfSignal& Signal(int index) const { return signals[static_cast<size_t>(index)]; }
};

std::string EdfTypeText(const EdfHeader& header);

// Reads and checks the header. Throws OpenError or FileError.
EdfHeader ReadEdfHeader(const DataFile& file);

// The conversions of number fields, free of any locale.
int32_t EdfInteger(std::string_view field);
double EdfReal(std::string_view field);

// The signals that become traces: indexes in header.signals, ascending, at most MostTraces. `setting` is a
// list of numbers from 1 over the ordinary signals ("1,3", "1-4"; separators are comma, semicolon and blank),
// or null for all of them, of which the first are taken. Throws OpenError.
std::vector<int> ChooseEdfSignals(const EdfHeader& header, const std::string* setting);

// Sets the expansion factors of the chosen signals and answers their common samples per record: the least
// common multiple. Throws OpenError where there is none, or none that a recording could be made of.
int64_t ExpandEdfSignals(EdfHeader& header, const std::vector<int>& chosen);

}  // namespace kymora
