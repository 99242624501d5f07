#include "acquisition/record_audio_thread.h"

#include <utility>

namespace kymora {

CRecordAudioThread::CRecordAudioThread(SoundInput& input, size_t bufferBytes, const DataRoad& road,
                                       AcqMailbox& mailbox)
    : m_input(input), m_road(road), m_mailbox(mailbox), m_buffer(bufferBytes), m_thread([this] { Run(); }) {}

void CRecordAudioThread::Stop() {
    m_bStop = true;
    if (m_thread.joinable()) m_thread.join();
}

void CRecordAudioThread::Run() {
    try {
        m_input.Start();
        while (Fill()) OnBufferDone();
    } catch (const SoundError& error) {
        m_fault = std::string(error.what()) + "\nRecording stopped; what came until then is stored.";
    }
    if (!m_fault.empty()) m_mailbox.Post(AcqMessage::sourceFault);
}

bool CRecordAudioThread::Fill() {
    using Clock = std::chrono::steady_clock;
    auto heard = Clock::now();
    bool hasLost = false;
    for (size_t filled = 0; filled < m_buffer.size();) {
        if (m_bStop) return false;
        const size_t count = m_input.Read(std::span(m_buffer).subspan(filled), hasLost);
        if (count > 0) heard = Clock::now();
        if (Clock::now() - heard > longestSilence)
            throw SoundError("The sound device does not answer any more.");
        filled += count;
    }
    // What was dropped before the first buffer is not missed.
    if (hasLost && !m_bFirstBuffer && !std::exchange(m_bOverrun, true))
        m_mailbox.Post(AcqMessage::boardOverrun);
    return true;
}

void CRecordAudioThread::OnBufferDone() {
    if (std::exchange(m_bFirstBuffer, false) || m_bOverrun) return;
    if (!m_road.store->Write(m_buffer)) {
        m_bOverrun = true;
        m_mailbox.Post(AcqMessage::overrun);
        return;
    }
    if (m_road.display && !m_road.display->Write(m_buffer)) *m_road.skippedDisplay = true;
    m_mailbox.Post(AcqMessage::dataReady);
}

}  // namespace kymora
