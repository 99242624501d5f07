#include "protocol/acq_prop_page_simulated.h"

namespace kymora {

namespace {

constexpr SourceWords simulatedWords[] = {
    {"input", "Inputs show", "",
     "counter: each sample is one more than the one before it; sine: channel n has n times 10 Hz; noise; "
     "loopback: input n is output n; preparation: a nerve that fires when the first output stimulates it"},
    {"bits", "Resolution", "bits", "Of inputs and outputs; above 16 a sample has four bytes"},
    {"encoding", "Encoding", "", "How codes stand for volts: two's complement has up to 16 bits"}};

}  // namespace

void AcqPropPageSimulated::Describe(ParamList& params) {
    SettingList list(params, m_state.settings);
    list.Group("Simulated board");
    list.AddOfSource(m_state.source, simulatedWords);
    list.AddWarning("simulatedWarning", [this] { return SourceSettingsFault(m_state.source); });
}

}  // namespace kymora
