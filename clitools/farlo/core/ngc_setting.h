// The registry setting that makes a node reserve disk groups through the service.
#pragma once

namespace farlo {

// Reads "SupportSCSI3" and returns whether it is 2; logs a line if so. Opens the key
// with all access, so the result is false in a process that may not write there.
[[nodiscard]] bool ReadNgcSetting();

}  // namespace farlo
