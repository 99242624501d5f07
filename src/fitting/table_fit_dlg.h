#pragma once
// The frame of fits to a table of X and Y, from a text file, the clipboard or a list. They need no recording.

#include <optional>

#include "fitting/curve_fitting.h"
#include "fitting/xy_table.h"

namespace kymora {

inline constexpr const char* sortedText = "Data were sorted by X values in ascending order.";

class CTableFitDlg : public CBatchBaseDlg {
  public:
    const char* ActionLabel() const override { return "Fit"; }
    bool NeedsRoom() const override { return true; }
    Affects WhatItAffects() const override { return Affects::nothing; }
    bool NeedsRecording() const override { return false; }
    bool NeedsTable() const override { return m_strPoints.empty(); }
    bool HasResultText() const override { return true; }
    bool TakesDrop(const std::filesystem::path& file) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    // Takes points as they would be typed, with where they come from.
    void SetPoints(std::string points, std::string source);

    std::string m_strFile;                   // the table; empty: the list
    std::string m_strPoints;                 // the list
    int32_t m_nColumnX = 0, m_nColumnY = 0;  // from 1; 0: the first two with numbers
    int32_t m_nDecimals = 3;                 // of the report

  protected:
    void DescribeTable(ParamList& list);
    void DescribeDecimals(ParamList& list);
    virtual bool Sorts() const = 0;
    // The table as it is set, sorted where the operation wants it. Throws JobRefused.
    FitPointsRef ReadTable(bool& wasSorted);
    // The same for drawing: null where there is none. It is not read again while settings and file are the
    // same.
    FitPointsRef ShownTable();
    void ForgetTable() { m_read.reset(); }
    std::string SourceText() const;

  private:
    void ChooseFile();
    void Paste();

    std::string m_source;  // of the list
    struct Read {
        std::string file, points;
        int32_t columnX, columnY;
        bool sorts, wasSorted;
        std::optional<FileStamp> stamp;
        FitPointsRef table;
        std::string fault;
    };
    const Read& TakeTable();
    std::optional<Read> m_read;
};

}  // namespace kymora
