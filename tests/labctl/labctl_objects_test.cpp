// labctl.exe: disk groups, disks, volumes, plexes and reservations.
#include "labctl/labctl_fixture.h"

namespace {

using namespace support;

class LabctlObjects : public LabctlTest {
  protected:
    void SetUp() override {
        start(R"({"disk_groups": [
            {"name": "dg1", "dgid": "g1",
             "disks": [{"name": "d1", "device": "D1"}, {"name": "d2", "state": 1}],
             "volumes": [{"name": "v1", "device": "V1", "size": 1024, "state": 32, "plexes": [
                 {"name": "p1", "subdisks": [{"name": "s1", "disk": "d1"}]},
                 {"name": "p2", "subdisks": [{"name": "s2", "disk": "d2"}]}]}]},
            {"name": "dg2", "dgid": "g2", "type": 8, "hidden": true}]})");
        handle = connect();
    }
    void TearDown() override {
        release(handle);
        ServiceTest::TearDown();
    }

    // The number of objects of a type that clients see.
    std::size_t count(const char* type) {
        std::vector<opal_objid> objects;
        EXPECT_EQ(list(handle, type, objects), ZTSTATUS_OK);
        return objects.size();
    }
    template <class Number> Number number_of(const char* type, const char* name) {
        std::vector<opal_objid> objects;
        EXPECT_EQ(list(handle, type, objects), ZTSTATUS_OK);
        opal_property property;
        EXPECT_EQ(ObGetProperty(handle->connection, handle->connection_context, &objects.front(),
                                name, &property),
                  ZTSTATUS_OK);
        Number number;
        EXPECT_EQ(property.size, sizeof number);
        std::memcpy(&number, property.value, sizeof number);
        PsFreeProperty(&property);
        return number;
    }

    opal_handle handle = nullptr;
};

TEST_F(LabctlObjects, AreListed) {
    expect_printed(L"group list", "GROUP  DGID  TYPE  IMPORTED  HIDDEN  RESERVED BY\n"
                                  "dg1    g1    2     no        no      -\n"
                                  "dg2    g2    8     no        yes     -\n");
    expect_printed(L"disk list", "DISK  GROUP  STATE  LIVE  DEVICE\n"
                                 "d1    dg1    0x0    yes   D1\n"
                                 "d2    dg1    0x1    no    -\n");
    expect_printed(L"volume list", "VOLUME  GROUP  STATE  SIZE  DRIVE  DEVICE\n"
                                   "v1      dg1    0x20   1024  -      V1\n");
    expect_printed(L"plex list", "PLEX  VOLUME  GROUP  STATE  DISKS\n"
                                 "p1    v1      dg1    0x0    d1\n"
                                 "p2    v1      dg1    0x0    d2\n");
}

TEST_F(LabctlObjects, AreListedAsJson) {
    expect_printed(L"plex list --json", "[\n"
                                        "  {\n"
                                        "    \"id\": \"p1\",\n"
                                        "    \"name\": \"p1\",\n"
                                        "    \"state\": 0,\n"
                                        "    \"disks\": [\n"
                                        "      \"d1\"\n"
                                        "    ],\n"
                                        "    \"group\": \"dg1\",\n"
                                        "    \"volume\": \"v1\"\n"
                                        "  },\n"
                                        "  {\n"
                                        "    \"id\": \"p2\",\n"
                                        "    \"name\": \"p2\",\n"
                                        "    \"state\": 0,\n"
                                        "    \"disks\": [\n"
                                        "      \"d2\"\n"
                                        "    ],\n"
                                        "    \"group\": \"dg1\",\n"
                                        "    \"volume\": \"v1\"\n"
                                        "  }\n"
                                        "]\n");
}

TEST_F(LabctlObjects, AreChanged) {
    expect_done(L"group set dg1 imported=true type=8");
    EXPECT_EQ(number_of<opal_bool>(ZTTYPE_DISK_GROUP, "imported"), opal_true);
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK_GROUP, "LDM DG TYPE"), 8u);
    expect_done(L"volume set v1 state=0x104 size=68719476736");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_VOLUME, "ztvmstate"), 0x104u);
    EXPECT_EQ(number_of<std::uint64_t>(ZTTYPE_VOLUME, "size"), 68719476736u);
    expect_done(L"plex set p1 state=3");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_PLEX, "ztvmstate"), 3u);
    expect_done(L"disk set d1 signature=4294967295 lun=2");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK, "SIGNATURE"), 4294967295u);
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK, "LUN ID"), 2u);
}

TEST_F(LabctlObjects, AreHiddenAndRevealed) {
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 1u);
    expect_done(L"group set dg2 hidden=false");
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 2u);
    expect_done(L"group set dg1 hidden=true");
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 1u);
    EXPECT_EQ(count(ZTTYPE_PLEX), 0u);  // and all that is in it
}

TEST_F(LabctlObjects, AreNotChangedByWrongValues) {
    expect_refused(L"disk set d1 lun=3 state=4294967296",
                   "state: \"4294967296\" is not a number from 0 to 4294967295");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK, "LUN ID"), 0u);
    expect_refused(L"disk set d1 state=-1", "state: \"-1\" is not a number from 0 to 4294967295");
    expect_refused(L"disk set d1 state=", "state: \"\" is not a number from 0 to 4294967295");
    expect_refused(L"disk set d1 stat=1",
                   "unknown key \"stat\"; there are: name, device, signature, disk_id, disk_guid, "
                   "port, target, lun, state");
    expect_refused(L"disk set v1 state=1", "there is no disk \"v1\"");
    expect_refused(L"group set nothing imported=true", "there is no disk group \"nothing\"");
}

TEST_F(LabctlObjects, FailAndAreRepaired) {
    expect_done(L"disk fail d1");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK, "ztvmstate"), 2u);
    expect_done(L"disk repair d1");
    EXPECT_EQ(number_of<std::uint32_t>(ZTTYPE_DISK, "ztvmstate"), 0u);
    expect_done(L"disk repair d2");  // which is missing
    EXPECT_EQ(labctl(L"disk list"), 0u);
    EXPECT_THAT(output, testing::HasSubstr("d2    dg1    0x0    yes"));
    expect_refused(L"disk fail d9", "there is no disk \"d9\"");
}

TEST_F(LabctlObjects, AreAdded) {
    expect_done(L"group add " +
                json(LR"({"name": "dg3", "dgid": "g3", "disks": [{"name": "n#", "count": 3}]})"));
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 2u);
    EXPECT_EQ(count(ZTTYPE_DISK), 5u);
    expect_done(L"disk add dg3 " + json(LR"({"name": "n4", "state": 2})"));
    expect_done(L"volume add dg3 " + json(LR"({"name": "v2", "device": "V2"})"));
    expect_done(L"plex add v2 " +
                json(LR"({"name": "p3", "subdisks": [{"name": "s3", "disk": "n4"}]})"));
    EXPECT_EQ(labctl(L"plex list"), 0u);
    EXPECT_THAT(output, testing::HasSubstr("p3    v2      dg3    0x0    n4\n"));
    const TemporaryFolder folder;
    const std::wstring file = folder.write(L"group.json", R"({"name": "dg4", "dgid": "g4"})");
    expect_done(L"group add @" + file);
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 3u);
}

TEST_F(LabctlObjects, AreNotAddedWithAnError) {
    expect_refused(L"group add " + json(LR"({"name": "dg1", "dgid": "g"})"),
                   "1: the name \"dg1\" is taken; add an \"id\" of its own");
    // The group comes before the disk with the error.
    expect_refused(L"group add " +
                       json(LR"({"name": "dg3", "dgid": "g3", "disks": [{"nam": "d"}]})"),
                   "1: \"name\" is missing");
    EXPECT_EQ(count(ZTTYPE_DISK_GROUP), 1u);
    expect_refused(L"disk add nothing " + json(LR"({"name": "d"})"),
                   "there is no disk group \"nothing\"");
    expect_refused(L"plex add dg1 " + json(LR"({"name": "p"})"), "there is no volume \"dg1\"");
    EXPECT_EQ(labctl(L"group add " + json(L"{")), 1u);
    EXPECT_THAT(errors, testing::StartsWith("labctl: 1: syntax error"));
    const TemporaryFolder folder;
    const std::wstring file = folder.write(L"bad.json", "{\n\"name\": }");
    EXPECT_EQ(labctl(L"group add @" + file), 1u);
    EXPECT_THAT(errors, testing::HasSubstr("bad.json:2: syntax error"));
    EXPECT_EQ(labctl(L"group add @" + folder.file(L"nowhere.json")), 1u);
    EXPECT_THAT(errors, testing::HasSubstr("nowhere.json: No such file or directory"));
}

TEST_F(LabctlObjects, AreRemovedWithAllInThem) {
    expect_done(L"disk remove d2");  // with its subdisk
    EXPECT_EQ(count(ZTTYPE_DISK), 1u);
    EXPECT_EQ(count(ZTTYPE_SUBDISK), 1u);
    EXPECT_EQ(count(ZTTYPE_PLEX), 2u);
    expect_done(L"plex remove p2");
    EXPECT_EQ(count(ZTTYPE_PLEX), 1u);
    expect_done(L"group remove dg1");
    for (const char* type :
         {ZTTYPE_DISK_GROUP, ZTTYPE_DISK, ZTTYPE_VOLUME, ZTTYPE_PLEX, ZTTYPE_SUBDISK}) {
        EXPECT_EQ(count(type), 0u) << type;
    }
    expect_refused(L"group remove dg1", "there is no disk group \"dg1\"");
    expect_refused(L"disk remove dg2", "there is no disk \"dg2\"");
}

TEST_F(LabctlObjects, AreReservedForOtherNodes) {
    const auto arbitrate = [this] {
        std::vector<opal_objid> services;
        list(handle, ZTTYPE_CLUSTER_SERVICE, services);
        opal_propset input = nullptr;
        PsCreatePropset(&input);
        const opal_property guid{"Dgguid", TYPE_STR, 1, 3, "g1"};
        PsAddProperty(input, &guid);
        const opal_status status = PrCallDispatch(
            handle->connection, &services.front(), &zt_cluster_service_interface, ZTMETHOD_MAJOR,
            ZTMETHOD_CLUSSVCOP_ARBITRATEDG, input, nullptr, 0, 0, 0, 0, nullptr, nullptr);
        PsDestroyPropset(input);
        return status;
    };
    expect_done(L"reservation set dg1 n2 --key 5");
    EXPECT_EQ(arbitrate(), lab::status_reservation_conflict);
    EXPECT_EQ(labctl(L"group list"), 0u);
    EXPECT_THAT(output, testing::HasSubstr("n2 (key 0x5)\n"));
    expect_done(L"reservation set dg1 n2 --undefended");
    EXPECT_EQ(arbitrate(), ZTSTATUS_OK);
    expect_done(L"reservation clear dg1");
    expect_refused(L"reservation clear dg1", "\"dg1\" is not reserved");
    expect_refused(L"reservation set dg1 \"\"", "the owner of a reservation must be a node's name");
    expect_refused(L"reservation set dg9 n2", "there is no disk group \"dg9\"");
}

}  // namespace
