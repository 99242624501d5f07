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
    std::map<std::string, std::string> SettingsToReopen() const override;
    std::function<std::unique_ptr<CDataDoc>(Session&)> TwinMaker() const override;

  protected:
    bool Load(OpenFor purpose) override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;

  private:
    struct Head;
    enum class Outcome { done, failed, points };

    bool LoadText(TextReader& reader);
    void TellInterval();
    bool SettleLayout(const Head& head);
    bool AskLayout(const Head& head);
    int GuessSkipRows(const Head& head, int skipColumns) const;
    RowFormat Format() const;
    Outcome ReadRows(TextReader& reader);
    bool Feed(TextReader& reader, RowParser& parser);
    bool TellProblem(TextSampleReader& rows) const;
    void FillModel();
    void ReadOwnSideCar();
    void Refuse(const std::string& text) const;

    TextFileDefaults layout_;
    char decimal_ = '.';
    bool decimalIsStated_ = false;  // by a setting or an answer, and not by the locale
    std::shared_ptr<const TextSamples> samples_;
    std::vector<std::string> labels_;
    std::string comment_;
};

}  // namespace kymora
