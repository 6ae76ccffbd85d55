// FARLO_STATUSES, the names and descriptions of statuses, and which are failures.
#include "farlo.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

struct Status {
    std::string name;
    std::uint32_t number;
    std::string description;
};

bool operator==(const Status& a, const Status& b) {
    return a.name == b.name && a.number == b.number && a.description == b.description;
}

void PrintTo(const Status& status, std::ostream* stream) {
    *stream << status.name << ' ' << status.number << " \"" << status.description << '"';
}

// In the order of farlo.h.
const std::vector<Status>& statuses() {
    static const std::vector<Status> all = {
        {"FARLO_SUCCESS", 0, "success"},
        {"FARLO_NOT_FOUND", 1, "no such disk group, or no driver"},
        {"FARLO_ALREADY_IMPORTED", 9, "a disk group of that name is imported already"},
        {"FARLO_NO_GUID_MEMORY", 17, "no memory for a GUID string or a request"},
        {"FARLO_EXCEPTION", 18, "a property could not be read or written, or resources ran out"},
        {"FARLO_MISSING_ARGUMENT", 19, "a required argument is missing"},
        {"FARLO_NOT_CONNECTED", 20, "not connected to the storage service"},
        {"FARLO_UNINITIALIZE_FAILED", 21, "the handle could not be released"},
        {"FARLO_DEVICE_SHARING_VIOLATION", 23, "the driver's device is in use"},
        {"FARLO_DEVICE_FAILED", 24, "the driver's device failed"},
        {"FARLO_DEVICE_UNSUCCESSFUL", 36, "the driver reports no success"},
        {"FARLO_EXCLUDED_TYPE", 40, "the disk group has a type that is not accepted"},
        {"FARLO_NO_CLUSTER_SERVICE", 41, "the service has no cluster-service object"},
        {"FARLO_BUFFER_TOO_SMALL", 97, "the buffer is too small"},
        {"FARLO_NO_VOLUME_GUID", 98, "the GUID string of the volume could not be read"},
        {"FARLO_VOLUME_NOT_FOUND", 99, "no such volume"},
        {"FARLO_NULL_HANDLE", 100, "the handle is NULL"},
        {"FARLO_INVALID_ARGUMENT", 0x80070057, "an argument is invalid"},
        {"FARLO_OUT_OF_MEMORY", 0x8007000E, "out of memory"},
        {"FARLO_PROVIDER_FAILED", 0xC1000001,
         "a provider failed, or an object of the service is missing"},
        {"FARLO_NODE_ALREADY_STARTED", 0xE5150047, "the cluster volume manager runs already"},
        {"FARLO_ALREADY_ONLINE", 0xE515007A, "the disk group is online already"},
    };
    return all;
}

TEST(StatusList, HasEachStatusWithItsDescription) {
    const std::vector<Status> listed = {
#define STATUS(name, description) {#name, name, description},
        FARLO_STATUSES(STATUS)
#undef STATUS
    };
    EXPECT_EQ(listed, statuses());
}

TEST(StatusName, IsThatOfTheConstant) {
    for (const Status& status : statuses()) {
        EXPECT_EQ(farlo_status_name(status.number), status.name);
    }
}

TEST(StatusName, IsEmptyForAStatusThatHasNone) {
    for (const std::uint32_t status : {2u, 5u, 0x41000012u, 0xC1000103u, 0xE5150101u}) {
        EXPECT_STREQ(farlo_status_name(status), "") << status;
    }
}

TEST(StatusText, DescribesEachStatus) {
    for (const Status& status : statuses()) {
        EXPECT_EQ(farlo_status_text(status.number), status.description);
    }
}

TEST(StatusText, SaysWhereAnyOtherStatusComesFrom) {
    EXPECT_STREQ(farlo_status_text(0x80070005), "an error of the system");
    EXPECT_STREQ(farlo_status_text(0x00070005), "an error of the system");
    EXPECT_STREQ(farlo_status_text(0xC1000103), "a status of the object bus");
    EXPECT_STREQ(farlo_status_text(0x41000012), "a status of the object bus");
    EXPECT_STREQ(farlo_status_text(0xE5150101), "a status of the storage service");
    EXPECT_STREQ(farlo_status_text(5), "an unknown status");
    EXPECT_STREQ(farlo_status_text(0x80010000), "an unknown status");
}

TEST(StatusFailed, IsEachNamedStatusButSuccess) {
    for (const Status& status : statuses()) {
        EXPECT_EQ(farlo_failed(status.number), status.number == 0 ? 0 : 1) << status.name;
    }
}

TEST(StatusFailed, FollowsTheSeverityOfOtherStatuses) {
    EXPECT_EQ(farlo_failed(2), 1);           // without a facility: any but 0
    EXPECT_EQ(farlo_failed(0x80000000), 1);  // the same
    EXPECT_EQ(farlo_failed(0x01000001), 0);  // the bus: only errors
    EXPECT_EQ(farlo_failed(0x41000012), 0);
    EXPECT_EQ(farlo_failed(0x81000012), 0);
    EXPECT_EQ(farlo_failed(0xC1000103), 1);
    EXPECT_EQ(farlo_failed(0x65150101), 0);  // others: warnings and errors
    EXPECT_EQ(farlo_failed(0xA5150101), 1);
    EXPECT_EQ(farlo_failed(0xE5150101), 1);
    EXPECT_EQ(farlo_failed(0x00070005), 0);
    EXPECT_EQ(farlo_failed(0x80070005), 1);
}

}  // namespace
