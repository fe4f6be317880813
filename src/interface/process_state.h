// The process-wide state of the nine functions, and the way between its numbered slots and the named members
// that the engine works with.
#pragma once

#include "core/context.h"
#include "interface/slots.h"
#include "platform/platform.h"

struct mf_solver;

namespace vyr {

/// Everything writable that outlives a call and is not owned by a handle. One instance, in process_state.cpp.
struct ProcessState {
    double mf_ctrl[CTRL_COUNT];  ///< settings in force, slots of CtrlSlot
    double mf_info[INFO_COUNT];  ///< status and statistics, slots of InfoSlot
    double* param;               ///< the caller's parameter array from VYR_init_ld to VYR_clear_ld, or null
    double value_min;            ///< non-zero values below this magnitude draw a warning
    double value_max;            ///< values above this magnitude draw a warning
    platform::SystemInfo system; ///< platform facts gathered by VYR_init_ld
    Accounting memory;           ///< of all handles
    mf_solver* handles;          ///< the live ones; null when there is none
    Log log;                     ///< standard output
    double n_p2; ///< 2 x 2 pivots taken since the library was loaded; deliberately never reset
};

[[nodiscard]] ProcessState& process_state() noexcept;

/// A control slot as an integer.
[[nodiscard]] inline int ctrl_int(CtrlSlot slot) noexcept {
    return to_int(process_state().mf_ctrl[slot]);
}

/// Leaves the status of the last operation in its slot and returns its code.
int set_info_status(Status status) noexcept;

/// One call of an exported function: a context filled from the slots, whose statistics go back into the slots
/// at its end. The status slot is left to set_info_status.
class Call {
public:
    Call() noexcept;
    ~Call();
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    Context context;
};

} // namespace vyr
