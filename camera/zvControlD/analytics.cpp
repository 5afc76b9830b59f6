#include "analytics.h"

#include "controlProtocol.h"
#include "log.h"
#include "writeAll.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <iterator>
#include <sys/stat.h>
#include <system_error>

namespace zvcamera {
namespace {

constexpr const char* onClearNames[] = {"empty", "remove", "keep"};
constexpr std::int64_t filled = std::int64_t{1} << 20; // bytes of records in a file of a given size
constexpr mode_t fileMode = 0664;

std::uint64_t nowMilliseconds() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
            .count());
}

[[noreturn]] void fail(const std::string& file) {
    throw std::system_error(errno, std::generic_category(), file);
}

void writeWhole(int fd, std::span<const unsigned char> bytes, const std::string& file) {
    if (!zv::writeAll(fd, {reinterpret_cast<const char*>(bytes.data()), bytes.size()})) {
        fail(file);
    }
}

Analytics::OnClear onClearOf(const std::string& what) {
    for (std::size_t i = 0; i < std::size(onClearNames); ++i) {
        if (what == onClearNames[i]) {
            return static_cast<Analytics::OnClear>(i);
        }
    }
    throw JsonError("on_clear: must be empty, remove or keep");
}

void checkPath(const std::string& path) {
    if (path.size() > zvcontrol::maxData || path.find('\0') != std::string::npos) {
        throw JsonError("path: must be a text of at most " + std::to_string(zvcontrol::maxData) +
                        " bytes without a zero byte");
    }
}

} // namespace

AnalyticsSettings readAnalyticsSettings(const Scenario& scenario) {
    JsonReader reader(scenario.part("analytics"), "analytics");
    AnalyticsSettings settings;
    reader.flag("collect", settings.collect);
    reader.number("interval_ms", settings.interval, Analytics::shortestInterval, Analytics::longestInterval);
    reader.number("limit", settings.limit, 0, Analytics::maxSize);
    reader.number("size", settings.size, 0, Analytics::maxSize);
    reader.text("on_clear", settings.onClear);
    reader.text("path", settings.path);
    reader.finish();
    try {
        onClearOf(settings.onClear);
        checkPath(settings.path);
    } catch (const JsonError& error) {
        throw JsonError(std::string("analytics.") + error.what());
    }
    return settings;
}

Analytics::Analytics(EventLoop& loop, std::string file, const Scenario& scenario)
    : loop_(loop),
      file_(std::move(file)),
      path_(file_) {
    const AnalyticsSettings settings = readAnalyticsSettings(scenario);
    setOnClear(settings.onClear);
    setPath(settings.path);
    limit_ = settings.limit;
    interval_ = std::chrono::milliseconds(settings.interval);
    if (settings.size >= 0) {
        setSize(settings.size);
    }
    if (settings.collect) {
        collect();
    }
}

Analytics::~Analytics() {
    stopCollecting();
}

void Analytics::setPath(const std::string& path) {
    checkPath(path);
    path_ = path.empty() ? file_ : path;
}

void Analytics::setOnClear(const std::string& what) {
    onClear_ = onClearOf(what);
}

void Analytics::setLimit(std::int64_t limit) {
    limit_ = limit;
    paused_ = false; // so that reaching the new limit is logged
}

void Analytics::collect(std::chrono::milliseconds interval) {
    stopCollecting();
    if (interval.count() > 0) {
        interval_ = interval;
    }
    timer_ = loop_.addTimer(interval_, [this] { tick(); });
}

void Analytics::stopCollecting() {
    loop_.cancelTimer(timer_);
    timer_ = 0;
    paused_ = false;
}

void Analytics::tick() {
    timer_ = loop_.addTimer(interval_, [this] { tick(); });
    const auto record = records_.next(nowMilliseconds());
    if (currentSize() + static_cast<std::int64_t>(record.size()) > limit_) {
        if (!paused_) {
            logInfo("analytics file has reached its limit of %lld bytes", static_cast<long long>(limit_));
        }
        paused_ = true;
        return;
    }
    paused_ = false;
    try {
        append(record);
    } catch (const std::system_error& error) {
        logError("analytics: %s", error.what());
    }
}

std::int64_t Analytics::currentSize() const {
    struct stat status {};
    return stat(file_.c_str(), &status) == 0 ? static_cast<std::int64_t>(status.st_size) : -1;
}

zv::UniqueFd Analytics::openFile(int flags) const {
    std::error_code ignored; // open() then says what is wrong
    std::filesystem::create_directories(std::filesystem::path(file_).parent_path(), ignored);
    zv::UniqueFd fd(open(file_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, fileMode));
    if (!fd.ok()) {
        fail(file_);
    }
    return fd;
}

void Analytics::clear() {
    switch (onClear_) {
    case OnClear::Empty:
        openFile(O_TRUNC);
        break;
    case OnClear::Remove:
        if (unlink(file_.c_str()) != 0 && errno != ENOENT) {
            fail(file_);
        }
        break;
    case OnClear::Keep:
        break;
    }
}

void Analytics::setSize(std::int64_t size) {
    stopCollecting();
    const zv::UniqueFd fd = openFile(O_TRUNC);
    std::vector<unsigned char> start;
    AnalyticsRecords records;
    while (static_cast<std::int64_t>(start.size()) < std::min(size, filled)) {
        const auto record = records.next(0);
        start.insert(start.end(), record.begin(), record.end());
    }
    start.resize(static_cast<std::size_t>(std::min(size, filled)));
    writeWhole(fd.get(), start, file_);
    if (ftruncate(fd.get(), size) != 0) {
        fail(file_);
    }
}

void Analytics::append(std::span<const unsigned char> bytes) {
    const zv::UniqueFd fd = openFile(O_APPEND);
    writeWhole(fd.get(), bytes, file_);
}

void Analytics::appendRecords(std::size_t count) {
    const zv::UniqueFd fd = openFile(O_APPEND);
    for (std::size_t i = 0; i < count; ++i) {
        writeWhole(fd.get(), records_.next(nowMilliseconds()), file_);
    }
}

Json Analytics::toJson() const {
    const std::int64_t size = currentSize();
    return {{"collect", timer_ != 0},
            {"interval_ms", interval_.count()},
            {"limit", limit_},
            {"on_clear", onClearNames[static_cast<std::size_t>(onClear_)]},
            {"file", file_},
            {"path", path_},
            {"size", size >= 0 ? Json(size) : Json(nullptr)}};
}

} // namespace zvcamera
