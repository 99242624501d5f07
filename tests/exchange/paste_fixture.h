#pragma once
// A session whose files are in memory and whose clipboard holds what a test puts there.

#include "document/float_doc.h"
#include "host/form.h"
#include "support/session_fixture.h"

namespace kymora::test {

class PasteTest : public SessionTest {
  protected:
    static constexpr const char* name = "/new.kymr-dat";

    using PasteData = std::optional<std::filesystem::path> (*)(Session&, std::span<CDataDoc* const>);
    explicit PasteTest(PasteData paste) : paste_(paste) { host.saveFile = name; }

    // Pastes a text, the form filled in by `fill`, and answers whether a file came of it.
    bool Paste(std::string text, std::function<void(Form&)> fill = {}) {
        host.clipboardText = std::move(text);
        host.formFault.clear();
        host.fillForms = {[fill](Form& form) {
            if (fill) fill(form);
            return true;
        }};
        files.Put(name, {});
        files.Remove(name);
        const auto path = paste_(session, {});
        host.fillForms.clear();
        EXPECT_EQ(path.has_value(), files.Has(name));
        return path.has_value();
    }
    // Why a text is refused, of which nothing is left.
    std::string Refusal(std::string text, std::function<void(Form&)> fill = {}) {
        host.messages.clear();
        EXPECT_FALSE(Paste(std::move(text), std::move(fill)));
        EXPECT_EQ(files.Count(), 0u);
        return host.LastMessage();
    }

    // Opens the new file, which has to be there.
    CFloatDoc& Opened() {
        doc = std::make_unique<CFloatDoc>(session);
        EXPECT_TRUE(doc->OnOpenDocument(name, OpenFor::reading)) << host.LastMessage();
        return *doc;
    }
    std::vector<float> Samples(int trace) { return SamplesOf(*doc, trace); }
    std::unique_ptr<CFloatDoc> doc;

  private:
    PasteData paste_;
};

}  // namespace kymora::test
