#pragma once
// The recording interface of a board on a serial port, with tools/km_ard/km_ard.ino in it.

#include "acquisition/ard_reader.h"
#include "acquisition/hand_acq_view.h"

namespace kymora {

// What no configuration keeps.
struct SerialBoardSettings {
    std::string port;    // a path or a name; empty: that of the Arduino that is found
    int bits = 10;       // of the board's converter, 1 to 16
    double volts = 5.0;  // that its codes reach to; they begin at 0
    double speed = 1.0;  // of a simulated board: so much faster than its rate
};

class CArdAcqView : public CHandAcqView {
  public:
    static constexpr int mostChannels = 6;

    CArdAcqView(Session& session, AcqEventLoop& loop, const SerialBoardSettings& board);
    ~CArdAcqView() override;

    // Finds and opens the port. False, told to the user, where it cannot be.
    bool OpenPort();
    // The port as it is shown.
    const std::string& PortName() const { return m_strPortName; }
    const char* ClearQuestion(const AcquisitionSettings& now) const override;
    void FillDocument(CAcqDoc& doc) const override;
    void TakeFormat() override;

  protected:
    bool PrepareStart() override;
    size_t SlotScans() const override;
    bool StartSource(const DataRoad& road) override;
    void StopSource() override;
    std::string SourceFault() const override { return m_pReader->Fault(); }
    std::string SourceRemark() const override { return m_pReader->Remark(); }
    const char* Name() const override { return "CArdAcqView"; }
    double PipeSeconds() const override { return CHandAcqView::PipeSeconds() * m_board.speed; }

  private:
    std::string FindPort();
    void TellOthers(const std::string& path);

    SerialBoardSettings m_board;
    std::string m_strPortName;
    CSerialPort m_Serial;
    std::unique_ptr<ArdReader> m_pReader;
};

// The shortest interval of so many channels, as an index of arduinoIntervals: 0.2 ms of one, 0.5 ms of two, 1
// ms of more.
uint32_t HighestRateIndex(uint32_t channels);
// Sets a rate that so many channels cannot have to the highest that they can; whether it did, which the user
// is told by rateLimitText.
bool LimitRate(AcquisitionSettings& settings);
inline constexpr const char* rateLimitText =
    "Maximum allowed ADC frequency is 2k Hz for 2, channels, 1 kHz for > 2 channels. Adjusting.";

}  // namespace kymora
