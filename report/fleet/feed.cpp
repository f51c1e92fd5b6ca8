#include "report/fleet/feed.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <new>
#include <thread>
#include <utility>
#include <vector>

#include "report/fleet/report_reading.h"
#include "report/fleet/report_source.h"
#include "report/fleet/store.h"

namespace vellum::fleet {
namespace {

constexpr int readers = 2;
constexpr std::size_t most_waiting = 8;           // lots
constexpr std::uint64_t most_uncommitted = 4096;  // reports
constexpr auto longest_uncommitted = std::chrono::seconds(1);

struct read_result {
    std::string name;
    std::unique_ptr<fleet_report> report;
    std::string problem;  // where there is no report
};
using lot = std::vector<read_result>;

// Between those who read and the one who writes.
class waiting_lots {
  public:
    // False when nobody takes any more.
    [[nodiscard]] bool put(lot&& read) {
        std::unique_lock<std::mutex> lock(guard_);
        changed_.wait(lock, [this] { return lots_.size() < most_waiting || closed_; });
        if (closed_) {
            return false;
        }
        lots_.push_back(std::move(read));
        changed_.notify_all();
        return true;
    }

    // `whole`: it has read all that there was for it.
    void reader_ends(bool whole) {
        const std::lock_guard<std::mutex> lock(guard_);
        --readers_;
        whole_ = whole_ && whole;
        changed_.notify_all();
    }
    bool whole() {
        const std::lock_guard<std::mutex> lock(guard_);
        return whole_;
    }

    void close() {
        const std::lock_guard<std::mutex> lock(guard_);
        closed_ = true;
        changed_.notify_all();
    }

    enum class taking { taken, nothing_yet, at_end };
    taking take(std::chrono::milliseconds patience, lot& out) {
        std::unique_lock<std::mutex> lock(guard_);
        changed_.wait_for(lock, patience, [this] { return !lots_.empty() || readers_ == 0; });
        if (lots_.empty()) {
            return readers_ == 0 ? taking::at_end : taking::nothing_yet;
        }
        out = std::move(lots_.front());
        lots_.pop_front();
        changed_.notify_all();
        return taking::taken;
    }

  private:
    std::mutex guard_;
    std::condition_variable changed_;
    std::deque<lot> lots_;
    int readers_ = readers;
    bool closed_ = false;
    bool whole_ = true;
};

read_result read(raw_report& raw) {
    read_result out;
    try {
        read_text(raw);
        out.problem = std::move(raw.problem);
        if (out.problem.empty()) {
            out.report = std::make_unique<fleet_report>();
        }
        if (out.report && !read_report(raw.text, *out.report, out.problem)) {
            out.report.reset();
        }
    } catch (const std::bad_alloc&) {
        out.report.reset();
        out.problem = "there is not enough memory for it";
    }
    out.name = std::move(raw.name);
    raw = {};
    return out;
}

void read_lots(report_source& source, waiting_lots& waiting) {
    std::vector<raw_report> raw;
    while (source.next(raw)) {
        announce_texts(raw);
        lot read_lot;
        for (raw_report& each : raw) {
            read_lot.push_back(read(each));
        }
        raw.clear();
        if (!waiting.put(std::move(read_lot))) {
            break;
        }
    }
}

// In a thread of its own, where nobody else catches.
void read_all(report_source& source, waiting_lots& waiting) {
    bool whole = true;
    try {
        read_lots(source, waiting);
    } catch (const std::bad_alloc&) {
        whole = false;
    }
    waiting.reader_ends(whole);
}

class writing {
  public:
    writing(database& fleet, clock& time, const feed_listener& listener)
        : store_(fleet), time_(time), listener_(listener) {}

    void write(const lot& reports);
    void commit_when_due();
    void commit();
    const feed_counts& counts() const { return counts_; }

  private:
    void write_one(const read_result& result);

    store store_;
    clock& time_;
    const feed_listener& listener_;
    feed_counts counts_;
    std::uint64_t uncommitted_ = 0;
    bool begun_ = false;
    std::chrono::steady_clock::time_point began_;
};

void writing::write_one(const read_result& result) {
    if (!result.report) {
        ++counts_.refused;
        listener_.refused(result.name, result.problem);
        return;
    }
    if (!begun_) {
        store_.begin();
        began_ = std::chrono::steady_clock::now();
        begun_ = true;
    }
    ++(store_.add(*result.report, time_.now()) ? counts_.taken : counts_.known);
    ++uncommitted_;
}

void writing::write(const lot& reports) {
    for (const read_result& result : reports) {
        write_one(result);
    }
}

void writing::commit() {
    if (begun_) {
        store_.commit();
    }
    begun_ = false;
    uncommitted_ = 0;
}

// Others may wait for their turn to write.
void writing::commit_when_due() {
    if (begun_ &&
        (uncommitted_ >= most_uncommitted || std::chrono::steady_clock::now() - began_ >= longest_uncommitted)) {
        commit();
    }
}

void write_all(writing& writer, waiting_lots& waiting, const database& fleet, const std::function<void()>& told) {
    constexpr auto patience = std::chrono::milliseconds(250);
    for (lot reports; fleet.ok();) {
        const waiting_lots::taking how = waiting.take(patience, reports);
        if (how == waiting_lots::taking::at_end) {
            break;
        }
        if (how == waiting_lots::taking::taken) {
            writer.write(reports);
        }
        writer.commit_when_due();
        told();
    }
    writer.commit();
}

class closing {
  public:
    closing(waiting_lots& lots, report_source& source) : lots_(lots), source_(source) {}
    ~closing() {
        source_.stop();
        lots_.close();
    }
    closing(const closing&) = delete;
    closing& operator=(const closing&) = delete;

  private:
    waiting_lots& lots_;
    report_source& source_;
};

}  // namespace

feed_counts feed(database& fleet, std::span<const std::string> places, clock& time, const feed_listener& listener) {
    report_source source(places);
    waiting_lots waiting;
    writing writer(fleet, time, listener);
    std::vector<std::jthread> threads;
    threads.reserve(readers);
    const closing at_end(waiting, source);  // before the threads are waited for, however this ends
    for (int i = 0; i < readers; ++i) {
        threads.emplace_back([&] { read_all(source, waiting); });
    }
    write_all(writer, waiting, fleet, [&] { listener.progress(writer.counts(), source.total()); });
    if (!waiting.whole()) {
        fleet.fail("there was not enough memory to read every report");
    }
    return writer.counts();
}

}  // namespace vellum::fleet
