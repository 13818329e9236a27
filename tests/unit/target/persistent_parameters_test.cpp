#include "target/persistent_parameters.h"

#include <gtest/gtest.h>

namespace Veltro::Internal {
namespace {

TEST(PersistentParameters, KeepsTheFirstValueAndTakesAnEmptyOneForARemoval) {
  PersistentParameters parameters;
  parameters.SetPersistentParameter(u"kept", u"1");
  parameters.SetPersistentParameter(u"kept", u"2");
  parameters.SetPersistentParameter(u"", u"no key");
  parameters.SetPersistentParameter(u"gone", u"1");
  parameters.SetPersistentParameter(u"gone", u"");
  parameters.SetPersistentParameter(u"never there", u"");
  EXPECT_EQ(parameters.Get(), (StringMap{{u"kept", u"1"}}));
  parameters.RemovePersistentParameter(u"kept");
  parameters.RemovePersistentParameter(u"kept");
  EXPECT_EQ(parameters.Get(), StringMap());
}

}  // namespace
}  // namespace Veltro::Internal
