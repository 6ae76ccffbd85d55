// Pins every constant of ztservice.h, and the lab's own service statuses, to a number or string
// written here by hand. Other tests use the names.
#include "support/fault_members.h"

#include <gtest/gtest.h>

#include <string_view>

namespace {

TEST(ServiceContract, NamesTheObjectTypes) {
    using std::string_view_literals::operator""sv;
    EXPECT_EQ(ZTTYPE_DISK_GROUP, "tamo_ztvm_diskgroup"sv);
    EXPECT_EQ(ZTTYPE_VOLUME, "tamo_ztvm_volume"sv);
    EXPECT_EQ(ZTTYPE_DISK, "tamo_ztvm_disk"sv);
    EXPECT_EQ(ZTTYPE_PLEX, "tamo_ztvm_plex"sv);
    EXPECT_EQ(ZTTYPE_SUBDISK, "tamo_ztvm_subdisk"sv);
    EXPECT_EQ(ZTTYPE_FILE_SYSTEM, "tamo_fs_nt"sv);
    EXPECT_EQ(ZTTYPE_MISC, "tamo_ztvm_misc"sv);
    EXPECT_EQ(ZTTYPE_CLUSTER_SERVICE, "solvane_cluster_service"sv);
}

TEST(ServiceContract, NumbersTheDiskGroupTypes) {
    EXPECT_EQ(ZTDGTYPE_EXCLUDED_0, 0u);
    EXPECT_EQ(ZTDGTYPE_CLUSTER, 2u);
    EXPECT_EQ(ZTDGTYPE_EXCLUDED_7, 7u);
    EXPECT_EQ(ZTDGTYPE_CLUSTER_SHARED, 8u);
}

// The GUIDs in memory and as strings of the recorder are written separately.
TEST(ServiceContract, IdentifiesTheInterfaces) {
    const GUID volume_manager = {
        0x61678C9A, 0x1DD2, 0x11B2, {0x96, 0x23, 0x08, 0x00, 0x20, 0x9E, 0xAD, 0x9C}};
    const GUID cluster_service = {
        0x375EC58D, 0x475E, 0x4658, {0x3B, 0xCD, 0x61, 0xC7, 0x48, 0x3A, 0x4F, 0xC6}};
    const GUID mount_manager = {
        0x2F0EAFCD, 0x7B86, 0x4F9B, {0xBD, 0x98, 0xD6, 0x1C, 0xE4, 0x21, 0x1F, 0x8F}};
    EXPECT_TRUE(IsEqualGUID(zt_volume_manager_interface, volume_manager));
    EXPECT_TRUE(IsEqualGUID(zt_cluster_service_interface, cluster_service));
    EXPECT_TRUE(IsEqualGUID(zt_mount_manager_interface, mount_manager));
    EXPECT_STREQ(support::volume_manager_methods, "{61678c9a-1dd2-11b2-9623-0800209ead9c}");
    EXPECT_STREQ(support::cluster_methods, "{375ec58d-475e-4658-3bcd-61c7483a4fc6}");
    EXPECT_STREQ(support::mount_methods, "{2f0eafcd-7b86-4f9b-bd98-d61ce4211f8f}");
}

TEST(ServiceContract, NumbersTheMethods) {
    EXPECT_EQ(ZTMETHOD_MAJOR, 0u);
    EXPECT_EQ(ZTMETHOD_DGOP_DEPORT, 2001u);
    EXPECT_EQ(ZTMETHOD_DGOP_IMPORT, 2003u);
    EXPECT_EQ(ZTMETHOD_DGOP_SETFASTFAILOVERFLAG, 2027u);
    EXPECT_EQ(ZTMETHOD_DGOP_CLUSTERSERVICESTATE, 2028u);
    EXPECT_EQ(ZTMETHOD_MISCOP_UPDATE_MOUNTPATH, 3041u);
    EXPECT_EQ(ZTMETHOD_MISCOP_PNP_RESCAN, 6054u);
    EXPECT_EQ(ZTMETHOD_MISCOP_STARTNODE, 6058u);
    EXPECT_EQ(ZTMETHOD_MISCOP_STOPNODE, 6059u);
    EXPECT_EQ(ZTMETHOD_MISCOP_GETNODESTATE, 6060u);
    EXPECT_EQ(ZTMETHOD_MISCOP_VOLUMEONLINE, 6063u);
    EXPECT_EQ(ZTMETHOD_MISCOP_VOLUMEOFFLINE, 6064u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_GETDGGUID, 1u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_ARBITRATEDG, 2u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_OFFLINEDG, 4u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_GETDGSTATUS, 5u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_GETVOLUMEGUID, 11u);
    EXPECT_EQ(ZTMETHOD_CLUSSVCOP_DISKAVAIB, 13u);
    EXPECT_EQ(ZTMETHOD_MNTOP_GET_ALL_MOUNTPOINTS, 8006u);
    EXPECT_EQ(ZTMETHOD_MNTOP_GET_DRIVE_LETTER, 8007u);
}

TEST(ServiceContract, NumbersTheKnownStatuses) {
    EXPECT_EQ(ZTERROR_NODE_ALREADY_STARTED, 0xe5150047u);
    EXPECT_EQ(ZTERROR_GROUP_ALREADY_ONLINE, 0xe515007au);
    EXPECT_EQ(support::hex(ZTERROR_GROUP_ALREADY_ONLINE), "0xe515007a");
}

TEST(LabServiceStatuses, KeepTheirNumbers) {
    EXPECT_EQ(lab::status_no_such_group, 0xe5150101u);
    EXPECT_EQ(lab::status_not_imported, 0xe5150102u);
    EXPECT_EQ(lab::status_no_such_volume, 0xe5150103u);
    EXPECT_EQ(lab::status_missing_parameter, 0xe5150104u);
    EXPECT_EQ(lab::status_name_taken, 0xe5150105u);
    EXPECT_EQ(lab::status_no_identifier, 0xe5150106u);
    EXPECT_EQ(lab::status_node_not_running, 0xe5150107u);
    EXPECT_EQ(lab::status_volume_broken, 0xe5150108u);
    EXPECT_EQ(lab::status_no_drive_letter, 0xe5150109u);
    EXPECT_EQ(lab::status_reservation_conflict, 0xe515010au);
    EXPECT_EQ(lab::status_not_reserved, 0xe515010bu);
    EXPECT_EQ(lab::status_node_busy, 0xe515010cu);
    EXPECT_EQ(lab::status_no_node, 0xe515010du);
}

}  // namespace
