// The control requests, by which labctl shows and changes a running service.
#pragma once

#include "ztsvc/service_parts.h"

#include <string>

namespace lab {

// Carries out a control request and returns its result as JSON. The request is a JSON object
// whose "command" decides on the other members:
//
//   status          {}: the node, the driver, the clients, and all storage
//   set             "kind" (node, group, disk, volume, plex), "name", "values": {key: string}
//   add             "kind" (group, disk, volume, plex), "parent", "object": JSON as a string
//   remove          "kind", "name"
//   fail, repair    "name" of a disk
//   reserve         "group", "owner", "key", "defended"
//   release         "group"
//   drop            "client": its number
//   alert           "name"
//   add_faults      "rules": JSON as a string; returns "numbers"
//   faults          {}: returns "rules"
//   clear_faults    "rule": its number; without it all
//   start_record, stop_record
//   record          "from": a number of a line; returns "lines", "next", "discarded"
//   driver_reply    "request", "status", "requests"
//
// Throws std::exception with one line if the request is refused; nothing is changed then.
std::string control(ServiceParts& parts, const std::string& request);

}  // namespace lab
