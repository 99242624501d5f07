#pragma once
// Text files of numbers (.asc, .csv, .txt). The file says nothing of its structure: a person states it in a
// dialog that shows the first rows, a script by import settings. The samples are kept in memory, and the file
// is closed when they are read; what the user adds goes to the side-car.
//
// Import settings: "sampleInterval" (ms), "skipRows" (-1 for a guess), "skipColumns", "labelRow" (0 for
// none), "dataInColumns" (0 or 1), and "decimalSeparator" ("." or ","), which takes the place of the locale's
// and of the question about points. A setting that is given is not asked for.

#include <memory>
#include <string>

#include "document/data_doc.h"
#include "import/text_samples.h"

namespace kymora {

class TextReader;

class CAscDoc : public CDataDoc {
  public:
    using CDataDoc::CDataDoc;

    int GetFileType() const override { return typeText; }
    Reopening ToReopen() const override;

  protected:
    void Load() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    struct Head;

    void LoadText(TextReader& reader);
    void TellInterval();
    void SettleLayout(const Head& head);
    void ProposeRows(const Head& head);
    void ProposeLabelRow(const Head& head);
    int TracesInHead(const Head& head) const;
    bool IsSettled(const char* key) { return CurrentOpening().Setting(key) != nullptr; }
    bool AskLayout(const Head& head, const std::string& fault);
    void KeepAnswers(const Head& head);
    int GuessSkipRows(const Head& head, int skipColumns) const;
    void ReadTable(TextReader& reader);
    RowFormat Format() const;
    bool ReadRows(TextReader& reader);
    bool Feed(TextReader& reader, RowParser& parser);
    void TakeTable(TextSampleReader& rows);
    void FillModel();
    void ReadOwnSideCar();

    TextFileDefaults layout_;
    bool rowsAreGuessed_ = false;
    char decimal_ = '.';
    bool decimalIsStated_ = false;  // by a setting or an answer, and not by the locale
    std::shared_ptr<const TextSamples> samples_;
    std::vector<std::string> labels_;
    std::string comment_;
};

}  // namespace kymora
