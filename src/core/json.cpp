#include "core/json.h"

#include <cstddef>
#include <utility>

namespace Veltro::Internal {
namespace {

using nlohmann::json;
using DomBuilder = nlohmann::detail::json_sax_dom_parser<json>;

/// Builds what the parser reads, down to the deepest nesting that is read. (With a callback in its
/// place the parser would be compiled twice.)
class BoundedBuilder : public DomBuilder {
 public:
  explicit BoundedBuilder(json& result) : DomBuilder(result, false) {}

  bool start_object(std::size_t size) { return Enter() && DomBuilder::start_object(size); }
  bool end_object() { return Leave() && DomBuilder::end_object(); }
  bool start_array(std::size_t size) { return Enter() && DomBuilder::start_array(size); }
  bool end_array() { return Leave() && DomBuilder::end_array(); }

 private:
  bool Enter() { return ++depth_ <= kMaxJsonNesting; }
  bool Leave() { return --depth_ >= 0; }

  int depth_ = 0;
};

}  // namespace

json ParseJson(std::string_view text) {
  json parsed;
  BoundedBuilder builder(parsed);
  const bool isWhole = json::sax_parse(text.begin(), text.end(), &builder);
  return isWhole ? std::move(parsed) : json();
}

}  // namespace Veltro::Internal
