#include "exchange/event_partition.h"

#include <algorithm>
#include <charconv>
#include <string>

#include <fmt/format.h>

namespace kymora {

namespace {

constexpr std::string_view whiteSpace = " \t\n\v\f\r";
constexpr size_t longestWord = 40;  // what is kept of a word to name it

// Puts words together that reach over pieces of the text.
class PartitionReader {
  public:
    explicit PartitionReader(size_t mostKept) : mostKept_(mostKept) {}

    void Add(std::string_view piece) {
        while (!piece.empty()) {
            const size_t end = std::min(piece.find_first_of(whiteSpace), piece.size());
            word_ += piece.substr(0, std::min(end, longestWord - std::min(longestWord, word_.size())));
            piece.remove_prefix(end);
            if (piece.empty()) return;
            EndWord();
            if (piece.front() == '\n') ++row_;
            piece.remove_prefix(1);
        }
    }
    void EndWord() {
        if (word_.empty()) return;
        std::string_view digits = word_;
        if (digits.size() > 1 && digits[0] == '+' && digits[1] != '-') digits.remove_prefix(1);
        int32_t number = 0;
        const char* last = digits.data() + digits.size();
        const auto [end, error] = std::from_chars(digits.data(), last, number);
        if (error != std::errc() || end != last || word_.size() >= longestWord)
            throw PartitionError(
                fmt::format("\"{}\" in row {} of the partition file is no whole number.", word_, row_));
        ++partition_.count;
        partition_.maximum = std::max(partition_.maximum, number);
        if (partition_.numbers.size() < mostKept_) partition_.numbers.push_back(number);
        word_.clear();
    }
    Partition& Result() { return partition_; }

  private:
    size_t mostKept_;
    Partition partition_;
    std::string word_;
    int64_t row_ = 1;
};

}  // namespace

Partition ReadPartition(TextReader& reader, size_t mostKept, Host& host) {
    PartitionReader words(mostKept);
    ProgressScope progress(host, "Reading partition numbers", reader.Length());
    for (std::string_view piece = reader.NextPiece(); !piece.empty(); piece = reader.NextPiece()) {
        words.Add(piece);
        if (!progress.GoesOn(reader.BytesRead())) {
            words.Result().wasCancelled = true;
            return std::move(words.Result());
        }
    }
    words.EndWord();
    return std::move(words.Result());
}

}  // namespace kymora
