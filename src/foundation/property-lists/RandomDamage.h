#pragma once

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tasklane {

/// Makes damaged documents out of good ones, for the programs that feed readers with them. The same
/// seed makes the same ones in the same order.
class RandomDamage {
 public:
  enum class Places { Anywhere, MoreOftenInHeaders };

  /// The words are put in here and there: what the format gives a meaning.
  RandomDamage(unsigned int seed, Places places, std::vector<std::string_view> words)
      : random_(seed), places_(places), words_(std::move(words)) {}

  std::string damaged(const std::vector<std::string>& originals) {
    std::string bytes = originals[below(originals.size())];
    for (std::size_t count = 1 + below(6); count > 0 && !bytes.empty(); --count)
      change(bytes, originals[below(originals.size())]);
    return bytes;
  }

  /// 0 to limit - 1; 0 for no limit.
  std::size_t below(std::size_t limit) { return limit == 0 ? 0 : random_() % limit; }

 private:
  static constexpr std::size_t kHeader = 200;

  std::size_t place(const std::string& bytes) {
    const bool inHeader = places_ == Places::MoreOftenInHeaders && below(2) == 0;
    return below(inHeader ? std::min(bytes.size(), kHeader) : bytes.size());
  }

  void change(std::string& bytes, const std::string& other) {
    constexpr std::string_view kExtremes("\0\1\x7F\x80\xFF\xFE\xA1\xD1\x0F", 9);
    const std::size_t at = place(bytes);
    switch (below(9)) {
      case 0:
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << below(8)));
        break;
      case 1:
        bytes[at] = static_cast<char>(random_());
        break;
      case 2:
        bytes[at] = kExtremes[below(kExtremes.size())];
        break;
      case 3:
        bytes.resize(at);
        break;
      case 4:
        bytes.erase(at, 1 + below(16));
        break;
      case 5:
        bytes.insert(at, bytes.substr(place(bytes), 1 + below(40)));
        break;
      case 6:
        if (!words_.empty()) bytes.insert(at, words_[below(words_.size())]);
        break;
      case 7:
        bytes.replace(at, below(20), other.substr(below(other.size()), below(40)));
        break;
      default:
        bytes.replace(at, std::string::npos, other.substr(std::min(at, other.size())));
    }
  }

  std::mt19937 random_;
  Places places_;
  std::vector<std::string_view> words_;
};

}  // namespace tasklane
