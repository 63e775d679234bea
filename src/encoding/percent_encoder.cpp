#include "encoding/percent_encoder.h"

#include <utility>

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
            table[i] = Replacement{byte} | Replacement{1} << LENGTH_SHIFT;
        } else {
            table[i] = Replacement{'%'} | Replacement(DIGITS[byte >> 4U]) << 8U |
                       Replacement(DIGITS[byte & 15U]) << 16U | Replacement{3} << LENGTH_SHIFT;
        }
    }
    if (replacement == Blank::PLUS) table[' '] = Replacement{'+'} | Replacement{1} << LENGTH_SHIFT;
    return table;
}

PercentEncoder::PercentEncoder(Blank replacement)
    : table_([replacement]() -> const Table& {
          static constexpr Table WITH_PERCENT_20 = table(Blank::PERCENT_20);
          static constexpr Table WITH_PLUS = table(Blank::PLUS);
          return replacement == Blank::PLUS ? WITH_PLUS : WITH_PERCENT_20;
      }()) {}

std::string PercentEncoder::take(const char* end) {
    if (moved_.empty()) return std::string(piece_.cbegin(), end);
    moveOn(end);
    return std::move(moved_);
}

// Writes the replacements to `out` and returns their end.
char* PercentEncoder::write(char* out, std::string_view text, const Table& table) {
    const auto append = [&](char character) {
        const Replacement replacement = table[static_cast<unsigned char>(character)];
        for (std::size_t i = 0; i < sizeof(Replacement); ++i) {
            out[i] = static_cast<char>(replacement >> (8U * i));
        }
        out += replacement >> LENGTH_SHIFT;
    };
    // Four at a time: one by one takes a fifth longer.
    auto in = text.begin();
    for (; text.end() - in >= 4; in += 4) {
        append(in[0]);
        append(in[1]);
        append(in[2]);
        append(in[3]);
    }
    for (; in != text.end(); ++in) append(*in);
    return out;
}

char* PercentEncoder::encodeInPieces(char* end, std::string_view text) {
    while (!text.empty()) {
        if (roomAt(end) < sizeof(Replacement)) end = moveOn(end);
        const auto fitting = text.substr(0, roomAt(end) / sizeof(Replacement));
        end = write(end, fitting, table_);
        text.remove_prefix(fitting.size());
    }
    return end;
}

char* PercentEncoder::moveOn(const char* end) {
    moved_.append(piece_.cbegin(), end);
    return begin();
}

}  // namespace tavrin::httpclient_core
