#pragma once
// A floating scope over a recording under way: sweeps of a trace, one after the other or each around the
// crossing of a level, laid over each other. What it shows is in no file. It is an observer of the interface:
// who has several hands it to them.

#include <QDialog>
#include <QTimer>

#include "acquisition/acq_view.h"
#include "acquisition/scope_sweeps.h"
#include "operations/param.h"

class QLabel;
class QPushButton;

namespace kymora {

class GraphWidget;
class ParamForm;

class CAcqScopeDlg : public QDialog, public AcqObserver {
    Q_OBJECT

  public:
    // The interface outlives it. It may be running already.
    explicit CAcqScopeDlg(CAcqView& view, QWidget* parent = nullptr);

    void OnBegun() override;
    void OnScans(std::span<const std::byte> scans) override;
    void OnScansPassed(int64_t scans) override;
    void OnSkipped(int64_t scan) override;

    const ScopeSettings& Settings() const { return m_settings; }
    // Why nothing is shown with these settings; empty where something is.
    const std::string& Fault() const { return m_strFault; }
    void SetSettings(const ScopeSettings& settings);
    void SetFrozen(bool isFrozen);
    const ScopeSweeps* Sweeps() const { return m_pSweeps ? &*m_pSweeps : nullptr; }
    GraphWidget& Picture() const { return *m_pGraph; }
    // Draws what has come.
    void Draw();

  private:
    ParamList Params();
    void Begin();
    void Clear();
    void TakeLine(const QString& parameter, double value);
    std::string StatusText() const;
    double FullScale() const;
    double FrequencyKHz() const { return 1.0 / m_view.m_settings.m_dSampleInterval; }

    CAcqView& m_view;
    ScopeSettings m_settings;
    double m_dFullScale = 0.0;                 // V, up and down; 0: what the board can give, over the gain
    int32_t m_nTrigger = 1, m_nDirection = 0;  // of the settings, as the form has them
    std::optional<ScopeSweeps> m_pSweeps;
    std::string m_strFault;
    bool m_bStale = true, m_bFrozen = false;
    ParamForm* m_pForm;
    GraphWidget* m_pGraph;
    QLabel* m_pStatus;
    QPushButton* m_pFreeze;
    QTimer m_frames;
};

}  // namespace kymora
