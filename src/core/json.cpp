#include "core/json.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace Veltro::Internal {
namespace {

using nlohmann::json;

/// Builds what the parser reads, down to the deepest nesting that is read. (The library's own
/// builder takes a callback for that, with which the parser is compiled twice.)
class Builder {
 public:
  explicit Builder(json& root) : root_(root) {}

  // What the parser calls, by names of its own; it goes on while they return true.
  // NOLINTBEGIN(readability-identifier-naming)
  bool null() { return Add(nullptr); }
  bool boolean(bool value) { return Add(value); }
  bool number_integer(json::number_integer_t value) { return Add(value); }
  bool number_unsigned(json::number_unsigned_t value) { return Add(value); }
  bool number_float(json::number_float_t value, const std::string&) { return Add(value); }
  bool string(std::string& value) { return Add(std::move(value)); }
  bool binary(json::binary_t&) { return false; }
  bool start_object(std::size_t) { return Open(json::object()); }
  bool key(std::string& name) {
    key_ = std::move(name);
    return true;
  }
  bool end_object() { return Close(); }
  bool start_array(std::size_t) { return Open(json::array()); }
  bool end_array() { return Close(); }
  bool parse_error(std::size_t, const std::string&, const json::exception&) { return false; }
  // NOLINTEND(readability-identifier-naming)

 private:
  bool Add(json value) {
    Place(std::move(value));
    return true;
  }
  bool Open(json value) {
    if (open_.size() == kMaxJsonNesting) return false;
    open_.push_back(Place(std::move(value)));
    return true;
  }
  bool Close() {
    open_.pop_back();
    return true;
  }
  json* Place(json value) {
    json* place = &root_;
    if (!open_.empty() && open_.back()->is_array()) {
      open_.back()->push_back(nullptr);
      place = &open_.back()->back();
    } else if (!open_.empty()) {
      place = &(*open_.back())[key_];
    }
    *place = std::move(value);
    return place;
  }

  json& root_;
  std::string key_;
  std::vector<json*> open_;  // the arrays and objects around what comes next
};

}  // namespace

json ParseJson(std::string_view text) {
  json root;
  Builder builder(root);
  return json::sax_parse(text.begin(), text.end(), &builder) ? std::move(root) : json();
}

}  // namespace Veltro::Internal
