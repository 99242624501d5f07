#pragma once
// What a window shows of the refractory protocol: its sweeps over each other, and the curve that it measures.

#include <map>

#include "acquisition/dt_refr_acq_view.h"
#include "graphs/graph.h"

namespace kymora {

// So many sweeps are drawn, the latest of each kind.
inline constexpr size_t mostSweepsDrawn = 40, mostAcceptedDrawn = 80;
// So many traces; the monitored one is among them.
inline constexpr size_t mostTracesDrawn = 4;

// The sweeps of one interface, as a graph: a pane for each trace. The sweep under review has the colour of
// its trace, those that were accepted have their own, the newest otherwise that of its trace, and the others
// are grey. Of a search the monitored window stands there as two lines, which are the parameters winStart and
// winEnd while it is idle. It keeps the lines that it has drawn, so that another sweep costs little.
class SweepsDrawing {
  public:
    Graph Draw(const CDTRefrAcqView& view);

  private:
    struct Line {
        std::vector<double> x, y;
    };
    const Line& LineOf(const RefractorySweeps& data, size_t sweep, size_t trace);

    std::map<std::pair<uint64_t, size_t>, Line> m_lines,
        m_drawn;  // by sweep and trace; those of before, and now
};

// The least amplitude with a spike at each delay.
Graph RefractoryCurve(const CDTRefrAcqView& view);

// What is known of the protocol, in a line.
std::string RefractoryText(const CDTRefrAcqView& view);

}  // namespace kymora
