// What the handles of vyr/solver.h stand for.
#pragma once

#include "core/progress.h"
#include "engine/solver.h"
#include "vyr/solver.h"

#include <atomic>
#include <mutex>
#include <thread>

namespace vyr::api {

/// An analysis that several handles refer to; it goes with the last one.
struct SharedAnalysis {
    std::atomic<std::int32_t> references{1};
    SolverAnalysis solver;
    vyr_options options; ///< as the analysis was made with, sizes and null pointers resolved
};

void release(SharedAnalysis* shared) noexcept;

/// The calls at work on an object, by thread: tells a call from a callback of the same object, and keeps a
/// factorization apart from everything else.
class CallList {
public:
    /// One call while it lives. `granted` is false when the thread is in a call already, when the call would
    /// change the object while another one is at work, or when another one is changing it.
    class Entry {
    public:
        Entry(CallList& list, bool changes) noexcept;
        ~Entry();
        Entry(const Entry&) = delete;
        Entry& operator=(const Entry&) = delete;
        bool granted() const noexcept { return granted_; }

    private:
        friend class CallList;
        CallList& list_;
        std::thread::id thread_;
        bool changes_;
        bool granted_;
        Entry* next_ = nullptr;
    };

private:
    std::mutex mutex_;
    Entry* first_ = nullptr;
};

/// A context for one call by the options of an object: log and progress behind the host's callbacks.
class HostCall {
public:
    HostCall(Accounting& memory, const vyr_options& options) noexcept;

    Context context;

private:
    static void write(void* self, const char* format, std::va_list arguments);

    vyr_options options_;
    Progress progress_;
    std::thread::id caller_ = std::this_thread::get_id(); ///< callbacks come on this thread alone
};

} // namespace vyr::api

struct vyr_analysis {
    vyr::api::SharedAnalysis* shared = nullptr; ///< null after a failure
    vyr_status status = VYR_STATUS_OK;
    char message[240] = "";
};

struct vyr_factor {
    vyr_factor(vyr::api::SharedAnalysis& analysis, const vyr_options& chosen) noexcept
        : shared(analysis), options(chosen), solver(analysis.solver) {}

    vyr::api::SharedAnalysis& shared;
    vyr_options options;
    vyr::SolverFactor solver;
    mutable vyr::api::CallList calls;
    vyr_status status = VYR_STATUS_NOT_FACTORISED;
    char message[240] = "";
    char kernels[80] = "";
    char directory[4096] = "";                 ///< of this factor's own files; empty in core
    mutable std::atomic<double> condition{-1}; ///< once it has been estimated
};
