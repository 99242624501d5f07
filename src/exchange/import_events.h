#pragma once
// Adds events that a text file lists, one in each row (event_rows.h).

#include "exchange/event_exchange_dlg.h"

namespace kymora {

class ImportEventsFromText : public CEventExchangeDlg {
  public:
    ImportEventsFromText() : CEventExchangeDlg(usesDestination) {}
    const char* ClassName() const override { return "ImportEventsFromText"; }
    const char* Title() const override { return "Import events from text"; }
    const char* ActionLabel() const override { return "Import"; }

  protected:
    void Describe(ParamList& list) override;
    bool Analyse(UndoScope& undo) override;
};

}  // namespace kymora
