#include "core/json.h"

#include <gtest/gtest.h>

#include <string>

namespace Veltro::Internal {
namespace {

TEST(Json, IsReadToItsDepthOnlyAndNeverThrows) {
  const auto nested = [](int depth) {
    return std::string(static_cast<std::size_t>(depth), '[') + "1" +
           std::string(static_cast<std::size_t>(depth), ']');
  };
  EXPECT_TRUE(ParseJson(nested(32)).is_array());
  EXPECT_TRUE(ParseJson(nested(33)).is_null());
  EXPECT_TRUE(ParseJson(nested(100'000)).is_null());
  for (const char* text : {"", "{", "nul", "[1,]", "{\"a\":1}}", "\"\xFF\""}) {
    EXPECT_TRUE(ParseJson(text).is_null()) << text;
  }
}

}  // namespace
}  // namespace Veltro::Internal
