// The registry setting by which a node reserves disk groups through the service.
#pragma once

namespace farlo {

// Reads "SupportSCSI3" and sets the process's NGC flag: true when the value is
// 2. The key is opened with all access, so a process that may not write there
// reads false. Returns the flag.
[[nodiscard]] bool ReadNgcSetting();

}  // namespace farlo
