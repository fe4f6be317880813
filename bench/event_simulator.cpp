#include "bench/event_simulator.h"

#include <algorithm>
#include <queue>
#include <utility>

namespace vyr::bench {

namespace {

constexpr std::int32_t NONE = -1;

/// A unit under way.
struct Progress {
    std::size_t step = 0;
    std::int32_t waiting = 0; ///< parts of the step that nobody has taken
    std::int32_t running = 0;
    int owner = NONE;
};

struct Worker {
    std::int32_t unit = NONE;    ///< that it owns
    std::int32_t part_of = NONE; ///< unit whose part it is at
    bool idle = true;
    bool woken = false; ///< and will look for work soon
};

struct Event {
    double time;
    std::int64_t number; ///< events of one time happen in the order of their making
    int worker;
    bool end_of_part; ///< or a waking
    bool operator<(const Event& other) const {
        return time != other.time ? time > other.time : number > other.number;
    }
};

class Run {
public:
    Run(const std::vector<Unit>& units, const Cores& cores)
        : units_(units),
          cores_(cores),
          progress_(units.size()),
          before_(units.size()),
          workers_(static_cast<std::size_t>(cores.count)) {
        for (std::size_t u = 0; u < units.size(); ++u) {
            before_[u] = units[u].n_before;
            if (before_[u] == 0) ready(static_cast<std::int32_t>(u));
        }
    }

    Outcome run() {
        for (int w = 0; w < cores_.count; ++w) look(w, 0);
        while (!events_.empty()) {
            const Event event = events_.top();
            events_.pop();
            happen(event);
        }
        return outcome_;
    }

private:
    void ready(std::int32_t u) {
        const auto place =
            std::upper_bound(ready_.begin(), ready_.end(), u, [&](std::int32_t a, std::int32_t b) {
                return unit(a).urgency > unit(b).urgency;
            });
        ready_.insert(place, u);
    }
    const Unit& unit(std::int32_t u) const { return units_[static_cast<std::size_t>(u)]; }
    Progress& progress(std::int32_t u) { return progress_[static_cast<std::size_t>(u)]; }
    Worker& worker(int w) { return workers_[static_cast<std::size_t>(w)]; }

    void wake_one(int w, double time) {
        worker(w).woken = true;
        events_.push({time, n_events_++, w, false});
    }

    void happen(const Event& event) {
        Worker& me = worker(event.worker);
        if (!event.end_of_part) {
            me.woken = false;
            if (me.idle) look(event.worker, event.time);
            return;
        }
        outcome_.seconds = event.time;
        --n_busy_;
        Progress& p = progress(std::exchange(me.part_of, NONE));
        if (--p.running == 0 && p.waiting == 0 && worker(p.owner).idle) // who waits for it goes on
            wake_one(p.owner, event.time);
        look(event.worker, event.time);
    }

    /// Finds work for a worker that has none.
    void look(int w, double now) {
        Worker& me = worker(w);
        me.idle = false;
        if (me.unit != NONE && go_on(w, now)) return;
        if (me.unit == NONE && (begin(w, now) || help(w, now))) return;
        me.idle = true;
    }

    /// The next part of the worker's own unit. False when it has to wait, or the unit is at its end.
    bool go_on(int w, double now) {
        Worker& me = worker(w);
        Progress& p = progress(me.unit);
        const std::vector<Step>& steps = unit(me.unit).steps;
        if (p.waiting == 0 && p.running > 0) return false;
        if (p.waiting == 0) {
            if (++p.step >= steps.size()) {
                finish(me.unit, now);
                me.unit = NONE;
                return false;
            }
            open(me.unit, now);
        }
        take(w, me.unit, now);
        return true;
    }

    void open(std::int32_t u, double now) {
        Progress& p = progress(u);
        p.waiting = static_cast<std::int32_t>(unit(u).steps[p.step].parts.size());
        if (p.waiting == 1) return;
        open_.push_back(u);
        wake(p.waiting - 1, now);
    }

    bool begin(int w, double now) {
        if (ready_.empty()) return false;
        const std::int32_t u = ready_.front();
        ready_.erase(ready_.begin());
        worker(w).unit = u;
        progress(u).owner = w;
        progress(u).step = 0;
        if (unit(u).steps.empty()) {
            finish(u, now);
            worker(w).unit = NONE;
            return begin(w, now);
        }
        open(u, now);
        take(w, u, now);
        return true;
    }

    bool help(int w, double now) {
        std::erase_if(open_, [&](std::int32_t u) { return progress(u).waiting == 0; });
        if (open_.empty()) return false;
        take(w, open_.front(), now);
        return true;
    }

    void finish(std::int32_t u, double now) {
        std::int32_t n_ready = 0;
        for (const std::int32_t v : unit(u).next) {
            if (--before_[static_cast<std::size_t>(v)] > 0) continue;
            ready(v);
            ++n_ready;
        }
        wake(n_ready, now);
    }

    void wake(std::int32_t most, double now) {
        for (int w = 0; w < cores_.count && most > 0; ++w) {
            const Worker& other = worker(w);
            if (!other.idle || other.woken || other.unit != NONE) continue;
            wake_one(w, now + cores_.waking_seconds);
            --most;
        }
    }

    /// The last part that nobody has taken of the unit's step.
    void take(int w, std::int32_t u, double now) {
        Progress& p = progress(u);
        const Step& step = unit(u).steps[p.step];
        const Part part = step.parts[static_cast<std::size_t>(--p.waiting)];
        ++p.running;
        ++n_busy_;
        double start = now, extra = 0;
        if (step.locked) {
            start = std::max(now, lock_free_);
            lock_free_ = start + part.seconds;
        }
        if (step.parts.size() > 1 || (p.step == 0 && worker(w).unit == u)) {
            start = std::max(now, queue_free_);
            queue_free_ = start + cores_.queue_seconds;
            extra = cores_.task_seconds;
        }
        const double shared = std::max(0.0, n_busy_ / cores_.bandwidth - 1 / cores_.core_bandwidth);
        const double alone = extra + part.seconds + part.bytes * shared;
        const double seconds = alone * (n_busy_ > 1 ? cores_.company : 1);
        outcome_.busy += seconds;
        worker(w).part_of = u;
        events_.push({start + seconds, n_events_++, w, true});
    }

    const std::vector<Unit>& units_;
    const Cores& cores_;
    std::vector<Progress> progress_;
    std::vector<std::int32_t> before_;
    std::vector<Worker> workers_;
    std::vector<std::int32_t> ready_, open_;
    std::priority_queue<Event> events_;
    std::int64_t n_events_ = 0;
    double queue_free_ = 0, lock_free_ = 0;
    int n_busy_ = 0;
    Outcome outcome_{};
};

} // namespace

Outcome simulate(const std::vector<Unit>& units, const Cores& cores) {
    return Run(units, cores).run();
}

} // namespace vyr::bench
