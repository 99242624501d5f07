#pragma once
// What a document and the operations on it know of the views that show it.

#include <functional>
#include <vector>

#include "document/stored_settings.h"
#include "document/view_guide.h"

namespace kymora {

enum class UpdateHint { samples, events, settings };

class DocumentView {
  public:
    virtual ~DocumentView() = default;
    virtual DisplaySettings GetDisplaySettings() const = 0;
    virtual void OnUpdate(UpdateHint hint) = 0;
    // Rows of events have been given places: no more of the height than this is left for the traces.
    virtual void MakeRoomForRows(float /*traces*/) {}
    // Times of the view's vertical cursors, ms, in their order from the left; none where a view has no
    // cursors.
    virtual std::vector<double> GetCursorTimes() const { return {}; }
    // Scrolls to a stretch of time (ms) where it is not seen whole.
    virtual void BringIntoView(double /*start*/, double /*end*/) {}
    // Lines that an open dialog has the view draw; each call takes the place of the one before. `moved` hears
    // of a guide with a parameter that the user has dragged, and of the value or time where it was dropped.
    using GuideMoved = std::function<void(const ViewGuide& guide, double at)>;
    virtual void SetGuides(std::vector<ViewGuide>, GuideMoved /*moved*/ = {}) {}
    // Events that an open dialog would find; each call takes the place of the one before.
    virtual void SetProposedEvents(std::vector<ProposedEvents>) {}
};

}  // namespace kymora
