#include "encoding/percent_encoder.h"

#include <algorithm>
#include <cstring>

namespace tavrin::httpclient_core {
namespace {

// By hand: std::isalnum follows the program's locale.
constexpr bool isUnreserved(unsigned char byte) {
    return (byte >= 'A' && byte <= 'Z') || (byte >= 'a' && byte <= 'z') ||
           (byte >= '0' && byte <= '9') || byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

}  // namespace

constexpr PercentEncoder::Table PercentEncoder::table(Blank replacement) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    Table table{};
    for (std::size_t i = 0; i < table.size(); ++i) {
        const auto byte = static_cast<unsigned char>(i);
        if (isUnreserved(byte)) {
            table[i] = {{static_cast<char>(byte)}, 1};
        } else {
            table[i] = {{'%', DIGITS[byte >> 4U], DIGITS[byte & 15U]}, 3};
        }
    }
    if (replacement == Blank::PLUS) table[' '] = {{'+'}, 1};
    return table;
}

PercentEncoder::PercentEncoder(Blank replacement)
    : table_([replacement]() -> const Table& {
          static constexpr Table WITH_PERCENT_20 = table(Blank::PERCENT_20);
          static constexpr Table WITH_PLUS = table(Blank::PLUS);
          return replacement == Blank::PLUS ? WITH_PLUS : WITH_PERCENT_20;
      }()) {}

void PercentEncoder::encode(std::string_view text) {
    while (!text.empty()) {
        makeRoom();
        const std::size_t fitting = (piece_.size() - used_) / sizeof(Replacement);
        const Table& table = table_;  // Else it is read again after every byte that is written.
        char* out = piece_.data() + used_;
        for (const char character : text.substr(0, fitting)) {
            const Replacement& replacement = table[static_cast<unsigned char>(character)];
            std::memcpy(out, &replacement, sizeof(replacement));
            out += replacement.length;
        }
        used_ = static_cast<std::size_t>(out - piece_.data());
        text.remove_prefix(std::min(fitting, text.size()));
    }
}

void PercentEncoder::put(char separator) {
    makeRoom();
    piece_[used_++] = separator;
}

std::string PercentEncoder::take() {
    if (moved_.empty()) return {piece_.data(), used_};
    moved_.append(piece_.data(), used_);
    return std::move(moved_);
}

// For one replacement at least.
void PercentEncoder::makeRoom() {
    if (piece_.size() - used_ >= sizeof(Replacement)) return;
    moved_.append(piece_.data(), used_);
    used_ = 0;
}

}  // namespace tavrin::httpclient_core
