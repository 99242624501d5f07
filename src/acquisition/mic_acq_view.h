#pragma once
// The recording interface of sound input.

#include "acquisition/hand_acq_view.h"
#include "acquisition/record_audio_thread.h"

namespace kymora {

class CMicAcqView : public CHandAcqView {
  public:
    // Without a system there is no sound library. The device by its name; empty: the system's usual input.
    CMicAcqView(Session& session, AcqEventLoop& loop, std::shared_ptr<SoundSystem> sound, std::string device);
    ~CMicAcqView() override;

    // Whether there is such a device. False, told to the user, where there is not; else the user sees once
    // what to expect of it.
    bool OpenDevice();
    const char* ClearQuestion(const AcquisitionSettings& now) const override;
    void FillDocument(CAcqDoc& doc) const override;
    std::string Unit() const override;
    void TakeFormat() override;

  protected:
    bool PrepareStart() override;
    size_t SlotScans() const override { return WantedBufferScans(); }
    bool StartSource(const DataRoad& road) override;
    void StopSource() override;
    std::string SourceFault() const override { return m_pThread->Fault(); }
    std::string SourceRemark() const override { return {}; }
    const char* Name() const override { return "CMicAcqView"; }

  private:
    bool Open(const SoundFormat& format);
    bool CheckLength();

    std::shared_ptr<SoundSystem> m_pSound;
    std::string m_strDevice;
    std::unique_ptr<SoundInput> m_pInput;
    std::unique_ptr<CRecordAudioThread> m_pThread;
};

}  // namespace kymora
