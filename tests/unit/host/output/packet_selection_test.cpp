#include "host/output/packet_selection.h"

#include <gtest/gtest.h>

#include "tests/unit/host/packets.h"

namespace veltra::host {
namespace {

TEST(packet_selection, has_everything_but_raw_packets_by_default) {
  const packet_selection usual;
  for (const char* layer : {"ip", "at", "nas-eps", "LTE_RRC.UL_DCCH", "anything", "syslog",
                            "handshake_randbytes", "session_master"}) {
    EXPECT_TRUE(usual.has_layer(layer)) << layer;
  }
  EXPECT_FALSE(usual.has_layer(raw_layer));
  EXPECT_TRUE(with_raw_packets().has_layer(raw_layer));
}

TEST(packet_selection, interfaces_have_the_names_of_the_command_line) {
  EXPECT_EQ(describe_kinds(with_raw_packets()), "ip,rrc,nas,at,other,raw");
  for (const std::string& name : kind_names()) {
    ASSERT_TRUE(kind_named(name)) << name;
    packet_selection one{.kinds = {}};
    one.add(*kind_named(name));
    EXPECT_EQ(describe_kinds(one), name);
  }
  EXPECT_FALSE(kind_named("tls"));
}

TEST(packet_selection, secrets_go_with_the_packets_that_they_decrypt) {
  packet_selection only_nas{.kinds = packet_selection::bit(packet_kind::nas)};
  EXPECT_FALSE(only_nas.has_layer("session_master"));
  only_nas.add(packet_kind::ip);
  EXPECT_TRUE(only_nas.has_layer("session_master"));
  only_nas.with_secrets = false;
  EXPECT_FALSE(only_nas.has_layer("session_master"));
  EXPECT_TRUE(only_nas.has_layer("ip"));
}

}  // namespace
}  // namespace veltra::host
