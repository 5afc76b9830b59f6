/*
 * The analytics file: collected record by record, read by whoever gets its path, and cleared.
 *
 * Scenario, part "analytics", every key optional:
 *   collect      flag, default false: a record is appended every interval_ms
 *   interval_ms  10 to 3600000, default 1000
 *   limit        bytes, default 1048576: collecting pauses before the file would grow beyond it
 *   size         bytes: the file is made at the start, exactly this long
 *   on_clear     "empty" (default), "remove" or "keep": what clearing does to the file
 *   path         the path that is answered to who asks for the file, default the file's own
 */
#pragma once

#include "analyticsRecord.h"
#include "eventLoop.h"
#include "jsonReader.h"
#include "scenario.h"

#include <cstdint>
#include <string>

namespace zvcamera {

// What the scenario says of the file.
struct AnalyticsSettings {
    bool collect = false;
    std::int64_t interval = 1000;
    std::int64_t limit = std::int64_t{1} << 20;
    std::int64_t size = -1; // none given
    std::string onClear = "empty";
    std::string path; // empty: the file's own
};
// Throws JsonError.
AnalyticsSettings readAnalyticsSettings(const Scenario& scenario);

class Analytics {
public:
    enum class OnClear { Empty, Remove, Keep };

    // The longest file that can be asked for.
    static constexpr std::int64_t maxSize = std::int64_t{1} << 40;
    // Milliseconds between two records.
    static constexpr std::int64_t shortestInterval = 10;
    static constexpr std::int64_t longestInterval = 3600000;

    // file: where the file is; its folder is made when needed. Throws JsonError.
    Analytics(EventLoop& loop, std::string file, const Scenario& scenario);
    ~Analytics();
    Analytics(const Analytics&) = delete;
    Analytics& operator=(const Analytics&) = delete;

    // The path that is answered to who asks for the file.
    const std::string& path() const { return path_; }
    // At most 4096 bytes without a zero byte; empty: the file's own again. Throws JsonError.
    void setPath(const std::string& path);

    // "empty", "remove" or "keep"; throws JsonError.
    void setOnClear(const std::string& what);

    // The most bytes that collecting lets the file have, from the next record on.
    void setLimit(std::int64_t limit);

    // interval of 0: unchanged.
    void collect(std::chrono::milliseconds interval = {});
    void stopCollecting();

    // These throw std::system_error when the file cannot be changed.
    void clear();
    // Stops collecting and makes the file exactly size bytes long. The first MiB are records, the rest is a hole.
    void setSize(std::int64_t size);
    void append(std::span<const unsigned char> bytes);
    void appendRecords(std::size_t count);

    // {"collect","interval_ms","limit","on_clear","file","path","size"}; size is null when there is no file.
    Json toJson() const;

private:
    void tick();
    std::int64_t currentSize() const; // -1: no file
    zv::UniqueFd openFile(int flags) const;

    EventLoop& loop_;
    std::string file_;
    std::string path_;
    OnClear onClear_ = OnClear::Empty;
    std::chrono::milliseconds interval_{1000};
    std::int64_t limit_ = std::int64_t{1} << 20;
    EventLoop::TimerId timer_ = 0; // 0: not collecting
    bool paused_ = false;          // the limit is reached, and logged
    AnalyticsRecords records_;
};

} // namespace zvcamera
