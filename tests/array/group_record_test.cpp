#include "array/group_record.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

using lab::group_record;
using lab::GroupRecord;

GroupRecord example() {
    return {.update = 7,
            .name = "dg_data",
            .guid = "6a1c7b42-4f0e-4d6b-9a55-0c2f8e3d1001",
            .type = 2,
            .host_id = "node1",
            .disk = "d1",
            .disks = {"d1", "d2"},
            .volumes = {{"vol1", "0f", {{"d1", 6144, 100}, {"d2", 6144, 50}}}, {"vol2", "1f", {}}}};
}

const char* const example_json = R"({
 "update": 7,
 "name": "dg_data",
 "guid": "6a1c7b42-4f0e-4d6b-9a55-0c2f8e3d1001",
 "type": 2,
 "host_id": "node1",
 "disk": "d1",
 "disks": [
  "d1",
  "d2"
 ],
 "volumes": [
  {
   "name": "vol1",
   "guid": "0f",
   "extents": [
    {
     "disk": "d1",
     "first_block": 6144,
     "blocks": 100
    },
    {
     "disk": "d2",
     "first_block": 6144,
     "blocks": 50
    }
   ]
  },
  {
   "name": "vol2",
   "guid": "1f",
   "extents": []
  }
 ]
}
)";

// The reason why the record is refused.
std::string refused(std::string json, const std::string& part, const std::string& replacement) {
    json.replace(json.find(part), part.size(), replacement);
    try {
        static_cast<void>(group_record(json));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "accepted";
}

TEST(GroupRecord, IsReadableJson) {
    EXPECT_EQ(to_json(example()), example_json);
}

TEST(GroupRecord, ReadsWhatItWrote) {
    EXPECT_EQ(group_record(example_json), example());
    EXPECT_EQ(group_record(to_json(GroupRecord{})), GroupRecord{});
}

TEST(GroupRecord, RefusesWhatItDoesNotKnow) {
    EXPECT_EQ(refused(example_json, "\"host_id\"", "\"host\": 1, \"host_id\""),
              "group record: unknown member \"host\"");
    EXPECT_EQ(refused(example_json, "\"first_block\"", "\"start\": 1, \"first_block\""),
              "group record: unknown member \"start\"");
    EXPECT_EQ(refused(example_json, "\"extents\": []", "\"extents\": [1]"),
              "group record: an object is expected");
}

TEST(GroupRecord, RefusesNumbersOutOfRange) {
    for (const char* value : {"-1", "1.5", "true", "\"7\"", "null"}) {
        EXPECT_EQ(refused(example_json, "\"update\": 7", std::string("\"update\": ") + value),
                  "group record: \"update\" is not a number from 0 to 18446744073709551615");
    }
    EXPECT_EQ(refused(example_json, "\"type\": 2", "\"type\": 4294967296"),
              "group record: \"type\" is not a number from 0 to 4294967295");
}

TEST(GroupRecord, RefusesIncompleteAndMalformedOnes) {
    for (const char* member :
         {"update", "name", "guid", "type", "host_id", "disk", "disks", "volumes", "first_block"}) {
        const std::string quoted = '"' + std::string(member) + '"';
        EXPECT_NE(refused(example_json, quoted, "\"other\""), "accepted") << member;
    }
    EXPECT_THROW(static_cast<void>(group_record("")), std::runtime_error);
    EXPECT_THROW(static_cast<void>(group_record("[]")), std::runtime_error);
    EXPECT_THROW(static_cast<void>(group_record(std::string(example_json).substr(0, 100))),
                 std::runtime_error);
}

}  // namespace
