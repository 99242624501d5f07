#pragma once
// An interface whose recordings are started and stopped by hand: there are no trigger modes, no repeats and
// no stimulus. It is saved by hand, too.

#include "acquisition/acq_view.h"
#include "acquisition/dt_host.h"

namespace kymora {

// m_nSweepMode of such an interface.
inline constexpr const char* handSweepModeTexts[] = {
    "Record a single sweep of data.", "Record up to the time limit, erasing the screen after each sweep.",
    "Record up to the time limit, scrolling the screen as new data are acquired."};

class CHandAcqView : public CAcqView {
  public:
    using CAcqView::CAcqView;

    bool OnAcqStart() override;
    void OnAcqStop() override;
    void StopForGood() override { OnAcqStop(); }
    bool OnSave() override;

  protected:
    // What a derived class does in its destructor, while its source is still there.
    void End();

    // All checks before a start; m_format and the sample interval are set at their end. False, told to the
    // user, where it cannot be.
    virtual bool PrepareStart() = 0;
    virtual size_t SlotScans() const = 0;
    virtual bool StartSource(const DataRoad& road) = 0;
    virtual void StopSource() = 0;
    // Words of the source, once it has posted them and while it is there.
    virtual std::string SourceFault() const = 0;
    virtual std::string SourceRemark() const = 0;
    virtual const char* Name() const = 0;  // of the class, for the log

    void OnWake() override;
    void OnTimer(int id) override;

  private:
    enum Timer { watchTimer = 1 };

    bool AcqStart();
    void Halt();
    void StopRecording();
    void StopFor(const std::string& text);
    bool TakeFault();
};

}  // namespace kymora
