#pragma once
// The text beside a SpikeGLX recording: what the columns of its file are, and their scales.

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kymora {

enum class GlxKind { ap, lf, sync, mn, ma, xa, digital, unknown };

struct GlxColumn {
    GlxKind kind = GlxKind::unknown;
    int acquired = 0;  // index among the acquired channels
    std::string label;
    std::string units;
    double factor = 1.0;  // of its numbers
};

class SpikeGlxMeta {
  public:
    // `fileName` tells the type where the text does not. Throws OpenError.
    SpikeGlxMeta(std::string_view text, const std::string& fileName);

    // Empty where there is none.
    const std::string& Text(const std::string& key) const;
    std::optional<double> Number(const std::string& key) const;

    const std::string& Type() const { return type_; }  // "imec", "nidq" or "obx"
    double Rate() const { return rate_; }              // Hz
    const std::vector<GlxColumn>& Columns() const { return columns_; }
    const std::vector<std::string>& Warnings() const { return warnings_; }
    // The digital words among the columns, and of each line in turn its name.
    const std::vector<size_t>& DigitalColumns() const { return digital_; }
    std::vector<std::string> LineNames() const;

  private:
    std::vector<int> Counts(const std::string& key, size_t count) const;
    void MakeColumns(size_t saved);
    std::vector<int> SavedChannels(size_t saved) const;
    void NameColumns();
    void ScaleColumns();
    void ScaleProbe();

    std::map<std::string, std::string, std::less<>> fields_;
    std::string type_;
    double rate_ = 0.0;
    std::vector<GlxColumn> columns_;
    std::vector<size_t> digital_;
    std::vector<std::string> warnings_;
};

}  // namespace kymora
