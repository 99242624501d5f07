#pragma once
// The frame of analyses over event data that show a graph. They change nothing of the recording, and run by
// themselves whenever a setting changes.

#include "eventanalysis/event_anal_rgn_base.h"

namespace kymora {

class CEventAnalRgnGraphBase : public CEventAnalRgnBase {
  public:
    explicit CEventAnalRgnGraphBase(unsigned uses) : CEventAnalRgnBase(uses) {}

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return m_nRegionMode == regionVisible; }
    bool HasResultText() const override { return true; }

  protected:
    // A refusal leaves the graph as it stood.
    void ForgetFound() override {}
};

}  // namespace kymora
