#pragma once
// Native files of any version, put together byte by byte from the layout's tables.

#include <cmath>
#include <filesystem>

#include "support/bytes.h"

namespace kymora::test {

inline const std::filesystem::path recordingPath = "/rec.kymr-dat";

struct BuiltNative {
    Bytes file;
    size_t headEnd = 0;     // versions 22 and above
    size_t tailOffset = 0;  // versions 22 and above
};

// A recording of two traces: trace t, stored sample i is 100 t + i. One marker, one annotation, three events
// in channel 'b' and scale bars where the version has them.
struct NativeRecipe {
    int version = 48;
    double sampleInterval = 0.5;
    int traceCount = 2;
    std::vector<std::vector<uint32_t>> runs{{10}, {10}};
    std::u16string comment = u"comment";
    int episodic = 0;
    std::vector<std::pair<int, int>> channelA;  // on and off positions
    // As the program writes it: unused trace slots and empty channels at their defaults, all text wide.
    bool settled = false;
};

inline float BuiltSample(int trace, int64_t stored) {
    return 100.0f * static_cast<float>(trace) + static_cast<float>(stored);
}

inline void BuildFont(Bytes& b, bool wide) {
    b.I32(-13).I32(0).I32(0).I32(0).I32(700);
    for (const unsigned byte : {1, 0, 0, 2, 3, 4, 5, 6}) b.U8(byte);
    const std::string face = "Arial";
    // Behind the terminator stands what was in memory when the file was written.
    for (size_t i = 0; i < 32; ++i) {
        const unsigned unit = i < face.size()    ? static_cast<unsigned char>(face[i])
                              : i == face.size() ? 0
                                                 : 65 + i % 20;
        wide ? b.U16(unit) : b.U8(unit);
    }
}

inline void BuildTraces(Bytes& b, int v, bool settled) {
    for (int slot = 0; slot < (v < 30 ? 16 : 128); ++slot) {
        const bool unused = settled && slot >= 2;
        b.I32(slot == 1 ? 1 : 0).F64(unused ? 1000.0 : 50.0 + slot).F64(unused ? -1000.0 : -50.0 - slot);
        if (v != 1) b.I32(slot == 0 ? 1 : slot == 1 ? 0 : slot);
        if (v >= 4) v >= 40 ? b.Wide(unused ? u"" : u"label") : b.Narrow("label");
        if (v >= 39) b.Wide(u"mV");
        if (v >= 11) b.Wide(u"axis");
        if (v >= 13) b.U32(0x112233);
        if (v >= 25) b.I32(slot == 1 ? 0 : 1);
        if (v >= 48) b.I32(7).I32(9);
    }
}

inline void BuildViewRows(Bytes& b, int v) {
    if (v >= 25) b.I32(3).I32(4);
    if (v >= 29) b.I32(0);
    if (v >= 29 && v <= 31) b.I32(5);
    if (v >= 29) b.I32(0).I32(1);
    if (v >= 46) b.I32(0);
    if (v >= 29) b.I32(1).I32(0).I32(1).I32(0);
    if (v >= 43) b.I32(0);
    if (v >= 29) b.I32(35).I32(0).I32(1).I32(0).F32(0.75f);
    if (v >= 36) b.I32(1);
    if (v >= 43) b.I32(1);
    if (v >= 44) b.I32(77);
    if (v >= 48) b.I32(2).I32(6);
}

inline void BuildOverlays(Bytes& b, int v) {
    if (v >= 7) {
        b.I32(1).F64(2.5).Wide(u"mark");
    } else if (v >= 3) {
        b.U16(1).U16(0xFFFF).U16(1).U16(7);
        for (const char c : std::string("CMarker")) b.U8(static_cast<unsigned char>(c));
        b.F64(2.5).Narrow("mark");
    }
    if (v >= 23) b.U8(1);
    if (v >= 27) {
        for (int slot = 0; slot < (v < 30 ? 16 : 128); ++slot) {
            b.I32(slot == 1 ? 1 : 0);
            if (slot != 1) continue;
            b.F64(3.0).Wide(u"note").F32(1.25f).U32(0x0000FF);
            BuildFont(b, v >= 35);
        }
    } else if (v >= 6) {
        if (v == 6) {
            b.U16(1).U16(0xFFFF).U16(1).U16(11);
            for (const char c : std::string("CAnnotation")) b.U8(static_cast<unsigned char>(c));
        } else {
            b.I32(1);
        }
        b.F64(3.0).Narrow("note").I32(1).F32(1.25f).U32(0x0000FF);
        BuildFont(b, false);
    }
    if (v >= 23) b.U8(0);
}

inline void BuildEvent(Bytes& b, int v, int on, int off, double interval, bool settled) {
    b.I32(on % 2);
    if (v >= 9)
        b.I32(off).I32(on);
    else
        b.F32(static_cast<float>(off * interval)).F32(static_cast<float>(on * interval));
    b.F32(0).F32(0).F32(1.5f);
    settled ? b.Wide(u"ev") : b.Narrow("ev");
    if (v >= 16) b.U32(0x00AA00);
}

inline void BuildChannels(Bytes& b, int v, const NativeRecipe& recipe) {
    const std::vector<std::pair<int, int>> inB{{1, 3}, {4, 5}, {8, 10}};
    if (v < 7) {
        for (int c = 0; c < 10; ++c) {
            b.U16(c == 1 ? 3 : 0);
            if (c != 1) continue;
            for (const auto& [on, off] : inB)
                b.I32(1)
                    .F32(static_cast<float>(on * recipe.sampleInterval))
                    .F32(static_cast<float>(off * recipe.sampleInterval))
                    .F32(1.5f)
                    .U32(99)
                    .U32(98);
        }
        return;
    }
    double place = 0.0;
    for (int c = 0; c < (v >= 28 ? 999 : 26); ++c) {
        if (v > 33) b.U8(c == 2 ? 1 : 0);
        if (v > 31) b.I32(2);
        b.I32(c != 1 ? -1 : recipe.settled ? 1 : 99);
        b.Wide(c == 1 ? u"spikes" : u"");
        if (v > 19) b.Wide(u"");
        if (v > 20) b.I32(1);
        b.U32(0x0000FF).U32(0xFF0000).I32(0).I32(c == 1 ? 12 : 0);
        place += c < 10 ? 1.0 / 18.0 : c < 18 ? 1.0 / 30.0 : 0.02;
        const bool empty = c > 1 || (c == 0 && recipe.channelA.empty());
        if (v >= 14) b.F64(!recipe.settled || !empty ? 0.25 : c < 26 ? place : 0.5);
        if (v > 40) b.I32(1);
        const auto& events = c == 0 ? recipe.channelA : c == 1 ? inB : std::vector<std::pair<int, int>>{};
        b.I32(static_cast<int64_t>(events.size()));
        for (const auto& [on, off] : events) BuildEvent(b, v, on, off, recipe.sampleInterval, recipe.settled);
        if (v >= 15) b.I32(0);
        b.I32(0);
    }
}

inline void BuildScaleBars(Bytes& b, int v) {
    for (int group = 0; group < (v >= 26 ? 2 : v >= 24 ? 1 : 0); ++group) {
        b.I32(3).F32(0.1f).F32(0.9f).F32(20.0f);
        if (v > 39) b.I32(1);
        if (v > 41) {
            b.U32(0x123456);
            BuildFont(b, true);
        }
        b.I32(1).F32(0.2f).I32(2).F32(0.8f).F32(5.0f).I32(1);
        if (v > 39) b.I32(1);
        if (v > 41) {
            b.U32(0x654321);
            BuildFont(b, true);
        }
        if (v > 44) b.Wide(u"mV");
    }
}

inline void BuildShared(Bytes& b, const NativeRecipe& recipe) {
    const int v = recipe.version;
    b.F64(0.5);
    if (v >= 18) b.F64(4.5);
    if (v >= 17) b.I32(recipe.episodic);
    BuildTraces(b, v, recipe.settled);
    BuildViewRows(b, v);
    BuildOverlays(b, v);
    BuildChannels(b, v, recipe);
    BuildScaleBars(b, v);
    if (v >= 8) b.Wide(u"guard string");
}

inline BuiltNative BuildNative(const NativeRecipe& recipe) {
    BuiltNative built;
    Bytes& b = built.file;
    const int v = recipe.version;
    b.I16(v);
    if (v < 22) {
        const int samples = static_cast<int>(recipe.runs[0][0]);
        b.Wide(recipe.comment).F64(recipe.sampleInterval).I32(recipe.traceCount).I32(samples);
        if (v < 18) b.I32(123);
        BuildShared(b, recipe);
        for (int i = 0; i < samples; ++i)
            for (int t = 0; t < recipe.traceCount; ++t) b.F32(BuiltSample(t, i));
        return built;
    }
    b.F64(recipe.sampleInterval).I32(recipe.traceCount);
    for (const auto& runs : recipe.runs) {
        b.U16(static_cast<unsigned>(runs.size()));
        for (const uint32_t run : runs) b.U32(run);
    }
    built.headEnd = b.Size();
    for (size_t t = 0; t < recipe.runs.size(); ++t) {
        int64_t stored = 0;
        for (size_t r = 0; r < recipe.runs[t].size(); r += 2) stored += recipe.runs[t][r];
        for (int64_t i = 0; i < stored; ++i) b.F32(BuiltSample(static_cast<int>(t), i));
    }
    built.tailOffset = b.Size();
    b.Wide(u"start FltTail").Wide(recipe.comment);
    if (v >= 38) b.Wide(u"history\r\n\r\n");
    if (v >= 39) b.I32(1).I32(2).I32(11).I32(12).I32(13).I32(0).I32(-1);
    BuildShared(b, recipe);
    return built;
}

}  // namespace kymora::test
