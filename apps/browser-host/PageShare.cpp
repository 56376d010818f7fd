#include "PageShare.h"

#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "foundation/base/FileSystem.h"
#include "foundation/base/ProgramStart.h"
#include "foundation/property-lists/PropertyListSyntax.h"

namespace tasklane {

namespace {

using nlohmann::json;

NSError wrong(const std::string& what) {
  return {NSError::Kind::Corrupt, "the extension's message " + what};
}

/// Reads one object of strings. It stops at the first thing that is none, so that a message takes
/// no more memory than its text, however it is nested.
class StringsReader final : public nlohmann::json_sax<json> {
 public:
  std::map<std::string, std::string> strings;
  std::string fault;

  bool start_object(std::size_t) override {
    return std::exchange(isInside_, true) ? refuse("must hold strings alone") : true;
  }
  bool key(string_t& name) override {
    key_ = name;
    return !strings.contains(key_) || refuse("names \"" + key_ + "\" twice");
  }
  bool string(string_t& text) override {
    if (!isInside_) return refuse("must be an object");
    strings[key_] = std::move(text);
    return true;
  }
  bool end_object() override { return true; }
  bool parse_error(std::size_t place, const std::string&, const json::exception&) override {
    return refuse("is no JSON in UTF-8 at byte " + std::to_string(place));
  }

  bool null() override { return refuseValue(); }
  bool boolean(bool) override { return refuseValue(); }
  bool number_integer(number_integer_t) override { return refuseValue(); }
  bool number_unsigned(number_unsigned_t) override { return refuseValue(); }
  bool number_float(number_float_t, const string_t&) override { return refuseValue(); }
  bool binary(binary_t&) override { return refuseValue(); }
  bool start_array(std::size_t) override { return refuseValue(); }
  bool end_array() override { return refuseValue(); }

 private:
  bool refuse(const std::string& what) {
    fault = what;
    return false;
  }
  bool refuseValue() { return refuse(isInside_ ? "must hold strings alone" : "must be an object"); }

  bool isInside_ = false;
  std::string key_;
};

}  // namespace

Result<PageShare::Message> PageShare::take(std::string_view message) {
  StringsReader reader;
  if (!json::sax_parse(message, &reader)) return wrong(reader.fault);
  auto& strings = reader.strings;
  const auto taken = [&](const char* key) -> std::optional<std::string> {
    auto entry = strings.extract(key);
    if (entry.empty() || entry.mapped().empty()) return std::nullopt;
    return std::move(entry.mapped());
  };
  const auto type = taken("type").value_or("");
  std::optional<std::string> bytes;
  if (type == "picture") {
    bytes = taken("bytes").value_or("");
  } else if (type == "share") {
    title_ = taken("title");
    url_ = taken("url");
    canonical_ = taken("canonical");
    selection_ = taken("selection");
  } else if (type != "hello") {
    return wrong("is of no known type; there are \"picture\", \"share\" and \"hello\"");
  }
  if (!strings.empty())
    return wrong("of the type \"" + type + "\" has the unknown key \"" + strings.begin()->first +
                 "\"");
  if (bytes) return append(*bytes);
  if (type == "hello") return Message::Hello;
  if (!title_ && !url_ && !selection_ && !picture_) return wrong("shares nothing");
  return Message::Share;
}

Result<PageShare::Message> PageShare::append(std::string_view base64) {
  const auto data = plist::dataFromBase64(base64);
  if (!data) return wrong("holds a picture that is no base64");
  pictureSize_ += data->size();
  if (pictureSize_ > kLargestPicture)
    return NSError{
        NSError::Kind::Corrupt,
        "the picture has more than " + std::to_string(kLargestPicture >> 20) + " megabytes"};
  if (!picture_) picture_ = unnamedFileHolding("");
  const std::string_view bytes(reinterpret_cast<const char*>(data->data()), data->size());
  if (const int error = writeAll(picture_.get(), bytes))
    return NSError::fromErrno(error, "cannot keep the picture");
  return Message::Picture;
}

std::string PageShare::request(const std::string& pictureFile) const {
  json item = json::object();
  if (title_) item["title"] = *title_;
  json attachments = json::array();
  if (url_) {
    json results{{"url", *url_}};
    if (canonical_) results["canonical"] = *canonical_;
    if (selection_) results["selection"] = *selection_;
    attachments.push_back({{"type", "public.property-list"}, {"results", std::move(results)}});
  } else if (selection_) {
    item["text"] = *selection_;
  }
  if (picture_) attachments.push_back({{"type", "public.image"}, {"file", pictureFile}});
  if (!attachments.empty()) item["attachments"] = std::move(attachments);
  return json{{"items", {std::move(item)}}}.dump();
}

}  // namespace tasklane
