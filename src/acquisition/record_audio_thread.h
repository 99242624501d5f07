#pragma once
// The thread that takes full buffers from a sound input.

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "acquisition/acq_messages.h"
#include "acquisition/dt_host.h"
#include "acquisition/sound_system.h"

namespace kymora {

class CRecordAudioThread {
  public:
    static constexpr int bufferCount = 5;  // that the device may be behind
    // Without a sample for so long the device is gone.
    static constexpr std::chrono::seconds longestSilence{3};

    // Begins. Input, pipes and mailbox outlive it. Posts dataReady, overrun, boardOverrun (the device has
    // dropped samples) and sourceFault, with words. Throws std::system_error.
    CRecordAudioThread(SoundInput& input, size_t bufferBytes, const DataRoad& road, AcqMailbox& mailbox);
    ~CRecordAudioThread() { Stop(); }
    CRecordAudioThread(const CRecordAudioThread&) = delete;
    CRecordAudioThread& operator=(const CRecordAudioThread&) = delete;

    void Stop();
    // Once it was posted; interface thread.
    const std::string& Fault() const { return m_fault; }

  private:
    void Run();
    // Fills the buffer; false where it was not filled.
    bool Fill();
    void OnBufferDone();

    SoundInput& m_input;
    DataRoad m_road;
    AcqMailbox& m_mailbox;
    std::vector<std::byte> m_buffer;  // m_nBufferBytes
    bool m_bFirstBuffer = true;
    bool m_bOverrun = false;
    std::string m_fault;  // written before it is posted, and never after
    std::atomic<bool> m_bStop{false};
    std::thread m_thread;
};

}  // namespace kymora
