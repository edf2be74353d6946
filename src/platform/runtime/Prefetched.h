#pragma once
// Work that start-up is about to ask for, done ahead on a second thread while the first one
// starts the toolkit. The first thread announces the names; the second makes a result for each
// in turn. A reader takes a finished result, waits for one under way, and for a name not yet
// begun (or whose making failed) does the work itself; a name never announced is never waited
// for.

#include <QString>
#include <condition_variable>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace runtime {

// Shared: every reader of a name gets a copy of its result, kept until clear (for values that
// share their data, as pictures do). Otherwise the first reader takes the result away.
template <class T, bool Shared> class Prefetched {
  public:
    void announce(const std::vector<QString>& names) {
        std::lock_guard g(lock_);
        for (const QString& name : names)
            if (entries_.try_emplace(name).second) order_.push_back(name);
    }

    // On the second thread.
    void fill(const std::function<std::optional<T>(const QString&)>& make) {
        for (std::size_t i = 0;; ++i) {
            std::unique_lock g(lock_);
            if (i >= order_.size()) return;
            Entry& e = entries_[order_[i]];
            if (e.state != State::Waiting) continue;
            e.state = State::Making;
            const QString name = order_[i];
            g.unlock();
            std::optional<T> value = make(name);
            g.lock();
            e.state = value ? State::Made : State::Reader;
            e.value = std::move(value);
            made_.notify_all();
        }
    }

    std::optional<T> take(const QString& name) {
        std::unique_lock g(lock_);
        const auto it = entries_.find(name);
        if (it == entries_.end()) return std::nullopt;
        Entry& e = it->second;
        if (e.state == State::Waiting) e.state = State::Reader;
        made_.wait(g, [&] { return e.state != State::Making; });
        if (e.state != State::Made) return std::nullopt;
        if (Shared) return e.value;
        e.state = State::Reader;
        return std::exchange(e.value, std::nullopt);
    }

    // Start-up is over: what is left goes, and later reads do their own work.
    void clear() {
        std::unique_lock g(lock_);
        for (auto& entry : entries_) {
            Entry& e = entry.second;
            made_.wait(g, [&] { return e.state != State::Making; });
            e = Entry{State::Reader, std::nullopt};
        }
        entries_.clear();
        order_.clear();
    }

  private:
    enum class State { Waiting, Making, Made, Reader };
    struct Entry {
        State state = State::Waiting;
        std::optional<T> value;
    };
    std::mutex lock_;
    std::condition_variable made_;
    std::map<QString, Entry> entries_;
    std::vector<QString> order_;
};

} // namespace runtime
