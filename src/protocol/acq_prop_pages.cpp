#include "protocol/acq_prop_page_16_chan.h"
#include "protocol/acq_prop_page_ard.h"
#include "protocol/acq_prop_page_mic.h"
#include "protocol/acq_prop_page_rec_gen.h"
#include "protocol/acq_prop_page_refr_auto_mon.h"
#include "protocol/acq_prop_page_refr_stim.h"
#include "protocol/acq_prop_page_simulated.h"
#include "protocol/acq_prop_page_stim.h"
#include "protocol/acq_prop_page_trig.h"

namespace kymora {

std::vector<std::unique_ptr<AcqPropPage>> MakeAcqPropPages(ProtocolState& state) {
    std::vector<std::unique_ptr<AcqPropPage>> pages;
    pages.push_back(std::make_unique<CAcqPropPage16Chan>(state));
    pages.push_back(std::make_unique<CAcqPropPageMic>(state));
    pages.push_back(std::make_unique<CAcqPropPageArd>(state));
    pages.push_back(std::make_unique<CAcqPropPageRecGen>(state));
    pages.push_back(std::make_unique<CAcqPropPageTrig>(state));
    pages.push_back(std::make_unique<CAcqPropPageStim>(state));
    pages.push_back(std::make_unique<CAcqPropPageRefrStim>(state));
    pages.push_back(std::make_unique<CAcqPropPageRefrAutoMon>(state));
    pages.push_back(std::make_unique<AcqPropPageSimulated>(state));
    return pages;
}

}  // namespace kymora
