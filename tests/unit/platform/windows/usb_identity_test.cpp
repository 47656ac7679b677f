#include "platform/windows/usb_identity.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using platform::read_usb_identity;
using platform::usb_identity;

TEST(usb_identity, is_read_from_the_id_of_a_device) {
  EXPECT_EQ(read_usb_identity("USB\\VID_0403&PID_6001\\A50285BI"),
            (usb_identity{"0403", "6001", "A50285BI"}));
}

TEST(usb_identity, hexadecimal_digits_come_in_lower_case) {
  EXPECT_EQ(read_usb_identity("USB\\VID_1BC7&PID_00AF\\X").vendor_id, "1bc7");
  EXPECT_EQ(read_usb_identity("USB\\VID_1BC7&PID_00AF\\X").product_id, "00af");
}

TEST(usb_identity, a_number_that_the_system_has_made_up_is_no_serial_number) {
  EXPECT_EQ(read_usb_identity("USB\\VID_10C4&PID_EA60\\5&2B1F3A7C&0&3"),
            (usb_identity{"10c4", "ea60", ""}));
}

TEST(usb_identity, a_part_of_a_device_with_many_has_no_serial_number_of_its_own) {
  EXPECT_EQ(read_usb_identity("USB\\VID_1BC7&PID_1201&MI_02\\7&36A1BB0E&0&0002"),
            (usb_identity{"1bc7", "1201", ""}));
}

TEST(usb_identity, adapters_with_a_bus_of_their_own_join_the_parts_by_plus) {
  EXPECT_EQ(read_usb_identity("FTDIBUS\\VID_0403+PID_6001+A50285BIA\\0000"),
            (usb_identity{"0403", "6001", "A50285BIA"}));
}

TEST(usb_identity, what_is_not_on_usb_has_none) {
  for (const char* id :
       {"", "ACPI\\PNP0501\\1", "USB\\ROOT_HUB30\\4&1234&0&0", "VID_0403",
        "USB\\VID_04&PID_6001\\1", "USB\\VID_04G3&PID_6001\\1", "VID_0403&PID_60"}) {
    EXPECT_EQ(read_usb_identity(id), usb_identity()) << id;
  }
}

}  // namespace
