// Folding a list of titles once, and searching it on every keystroke.
#include <unicode/translit.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/Report.h"
#include "foundation/text/NSString+Folding.h"

using namespace tasklane;

namespace {

std::vector<std::optional<std::string>> titles(std::size_t count) {
  static const char* const words[] = {
      "buy",    "call",   "write",   "plan",    "review", "send",      "invoice", "café",
      "crème",  "résumé", "naïve",   "straße",  "Ærø",    "São Paulo", "señor",   "Đà Nẵng",
      "Kraków", "budget", "FIRST",   "ÉCOLE",   "東京",   "Москва",    "αλφα",    "İstanbul",
      "decor",  "ticket", "Zürich",  "smörgås", "Łódź",   "tax",       "milk",    "O'Brien",
      "email",  "slides", "release", "Привет",  "print",  "backup",    "fiancée", "cliché"};
  std::mt19937 random(11);
  std::vector<std::optional<std::string>> all;
  for (std::size_t i = 0; i < count; ++i) {
    std::string title;
    for (std::size_t n = 2 + random() % 7; n > 0; --n)
      title.append(words[random() % std::size(words)]).append(n > 1 ? " " : "");
    all.emplace_back(std::move(title));
  }
  return all;
}

using Titles = std::vector<std::optional<std::string_view>>;

void fold(const std::string& name, const Titles& all, int rounds) {
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::Transliterator> transliterator(
      icu::Transliterator::createInstance("NFD; [:M:] Remove; NFC; Lower", UTRANS_FORWARD, status));
  if (U_FAILURE(status)) std::abort();
  bench::compare({{name + ": fold", [&] { bench::keep(FoldedTitles(all).count()); }, {}},
                  {name + ": fold, transliterator",
                   [&] {
                     std::string folded;
                     for (const auto& title : all) {
                       icu::UnicodeString text =
                           icu::UnicodeString::fromUTF8(icu::StringPiece(*title));
                       transliterator->transliterate(text);
                       folded.clear();
                       text.toUTF8String(folded);
                       bench::keep(folded.size());
                     }
                   },
                   {}}},
                 rounds, bench::Time::Processor);
}

void search(const std::string& name, const Titles& all, int rounds) {
  const FoldedTitles folded(all);
  std::string buffer;
  for (const auto& title : all) buffer += stringByFolding(*title) + '\n';
  for (const std::string wanted : {"cafe", "e", "zzz"}) {
    const int repeat = all.size() < 50000 ? 50 : 5;
    bench::compare({{name + ": search '" + wanted + "'",
                     [&] {
                       for (int i = 0; i < repeat; ++i)
                         bench::keep(folded.indicesContaining(wanted).size());
                     },
                     {}},
                    {name + ": one memmem scan, '" + wanted + "'",
                     [&] {
                       for (int i = 0; i < repeat; ++i) {
                         // Every hit in turn, as any search that answers the titles must.
                         std::size_t hits = 0;
                         const char *at = buffer.data(), *const end = at + buffer.size();
                         while (const void* hit = memmem(at, static_cast<std::size_t>(end - at),
                                                         wanted.data(), wanted.size())) {
                           at = static_cast<const char*>(hit) + wanted.size();
                           ++hits;
                         }
                         bench::keep(hits);
                       }
                     },
                     {}}},
                   rounds, bench::Time::Processor);
  }
}

void run(std::size_t count, int rounds) {
  const auto texts = titles(count);
  const Titles all(texts.begin(), texts.end());
  const std::string name = std::to_string(count) + " titles";
  fold(name, all, rounds);
  search(name, all, rounds);
}

}  // namespace

int main(int argc, char** argv) {
  const int rounds = argc > 1 ? std::atoi(argv[1]) : 15;
  run(10000, rounds);
  run(100000, argc > 1 ? rounds : 7);
}
