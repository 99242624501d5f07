#pragma once
// EDF recordings in memory, opened.

#include "import/edf_doc.h"
#include "import/reader_fixture.h"
#include "support/edf_builder.h"

namespace kymora::test {

class EdfTest : public ReaderTest {
  protected:
    // Null when it does not open.
    std::unique_ptr<CEDFDoc> Open(const std::vector<std::byte>& bytes) {
        files.Put("/x.edf", bytes);
        return Reopen();
    }
    std::unique_ptr<CEDFDoc> Open(const EdfBuilder& builder) { return Open(builder.Build()); }
    std::unique_ptr<CEDFDoc> Reopen() {
        auto doc = std::make_unique<CEDFDoc>(session);
        return doc->OnOpenDocument("/x.edf", request) ? std::move(doc) : nullptr;
    }
    static std::vector<uint32_t> Runs(const CEDFDoc& doc) {
        const auto runs = doc.validRuns[0].Runs();
        return {runs.begin(), runs.end()};
    }
    // "on-off:label" of each event.
    static std::vector<std::string> Events(const CEDFDoc& doc, int channel) {
        std::vector<std::string> all;
        for (const CEventKM& e : doc.eventChannels[static_cast<size_t>(channel)].Events())
            all.push_back(std::to_string(e.onPosition) + "-" + std::to_string(e.offPosition) + ":" +
                          std::string(e.eventLabel.View()));
        return all;
    }
};

}  // namespace kymora::test
