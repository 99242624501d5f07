#pragma once
// Copies the events of a channel into several, by a file with the number of each event's class
// (event_partition.h): class 1 goes into the first channel above those in use, class 2 into the next. The
// source stays as it is.

#include <optional>

#include "exchange/event_exchange_dlg.h"
#include "exchange/event_partition.h"

namespace kymora {

class PartitionFromFile : public CEventExchangeDlg {
  public:
    PartitionFromFile() : CEventExchangeDlg(usesChannel1) {}
    const char* ClassName() const override { return "PartitionFromFile"; }
    const char* Title() const override { return "Partition from file"; }
    const char* ActionLabel() const override { return "Partition"; }

    // Reads the file and makes sure that there is room for its classes, so that a window asks for the source
    // channel only then. False when it cannot be used, which the user was told.
    bool ReadFile();
    const Partition& Read() const { return *m_partition; }

  protected:
    void Describe(ParamList& list) override;
    bool Analyse(UndoScope& undo) override;

  private:
    bool TakeNumbers(const DataFile& file);
    bool HasRoom();
    void Distribute(const CEventChan& source, int first);
    void TellCounts();

    std::optional<Partition> m_partition;
};

}  // namespace kymora
