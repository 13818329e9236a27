#include "platform/linux/public_address.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>

namespace Veltro::Internal::Testing {
namespace {

void ExpectPublic(const char* text, bool isPublic) {
  EXPECT_EQ(IsPublicAddress(text), isPublic) << text;
  sockaddr_in four{};
  sockaddr_in6 six{};
  four.sin_family = AF_INET;
  six.sin6_family = AF_INET6;
  const bool isFour = inet_pton(AF_INET, text, &four.sin_addr) == 1;
  EXPECT_TRUE(isFour || inet_pton(AF_INET6, text, &six.sin6_addr) == 1) << text;
  EXPECT_EQ(IsPublicAddress(isFour ? reinterpret_cast<const sockaddr&>(four)
                                   : reinterpret_cast<const sockaddr&>(six)),
            isPublic)
      << text;
}

TEST(PublicAddressTest, EndsWhereTheRangesEnd) {
  for (const char* text : {"0.0.0.0",
                           "0.255.255.255",
                           "10.0.0.0",
                           "10.255.255.255",
                           "127.0.0.1",
                           "127.255.255.255",
                           "169.254.0.0",
                           "169.254.255.255",
                           "172.16.0.0",
                           "172.31.255.255",
                           "192.168.0.0",
                           "192.168.255.255",
                           "224.0.0.0",
                           "255.255.255.255",
                           "100.64.0.0",
                           "100.127.255.255",
                           "192.0.0.255",
                           "198.18.0.0",
                           "198.19.255.255",
                           "::127.0.0.1",
                           "64:ff9b::a00:1",
                           "2002:7f00:1::1",
                           "::",
                           "::1",
                           "fc00::1",
                           "fec0::1",
                           "100::1",
                           "1fff::1",
                           "4000::1",
                           "64:ff9b:1::1",
                           "::ffff:0:808:808",
                           "2001::1",
                           "fdff::1",
                           "fe80::1",
                           "febf::1",
                           "ff02::1",
                           "ffff::1",
                           "::ffff:127.0.0.1",
                           "::ffff:192.168.0.1"}) {
    ExpectPublic(text, false);
  }
  for (const char* text :
       {"1.0.0.0",        "9.255.255.255",   "11.0.0.0",         "126.255.255.255",
        "128.0.0.0",      "169.253.255.255", "169.255.0.0",      "172.15.255.255",
        "172.32.0.0",     "192.167.255.255", "192.169.0.0",      "223.255.255.255",
        "2001:db8::1",    "::ffff:8.8.8.8",  "64:ff9b::808:808", "2002:808:808::1",
        "100.63.255.255", "100.128.0.0",     "192.0.1.0",        "198.17.255.255",
        "198.20.0.0"}) {
    ExpectPublic(text, true);
  }
}

TEST(PublicAddressTest, WhatIsNoInternetAddressIsNotPublic) {
  for (const char* text : {"", "localhost", "8.8.8", "8.8.8.8 ", "[2001:db8::1]"}) {
    EXPECT_FALSE(IsPublicAddress(text)) << text;
  }
  sockaddr local{};
  local.sa_family = AF_UNIX;
  EXPECT_FALSE(IsPublicAddress(local));
}

}  // namespace
}  // namespace Veltro::Internal::Testing
