#include "platform_linux/log_sink.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/sinks/stdout_sinks.h>

#include "platform_linux/native_path.h"

namespace kelvaris {

namespace {

constexpr std::size_t fileSize = 5 << 20;
constexpr std::size_t olderFiles = 3;

spdlog::level::level_enum spdlogLevel(log::Level level) {
    switch (level) {
        case log::Level::debug:
            return spdlog::level::debug;
        case log::Level::info:
            return spdlog::level::info;
        case log::Level::error:
            return spdlog::level::err;
    }
    return spdlog::level::info;
}

}  // namespace

LogSink::LogSink(const LogOptions& options) {
    auto logger = std::make_shared<spdlog::logger>("kelvaris");
    logger->set_level(spdlog::level::debug);
    logger->set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
    std::string fileTrouble;
    if (options.folder) {
        try {
            auto file = std::make_shared<spdlog::sinks::rotating_file_sink_mt>(
                nativePath(*options.folder / "kelvaris.log"), fileSize, olderFiles);
            file->set_pattern("%Y-%m-%d %H:%M:%S.%e %l %v");
            logger->sinks().push_back(std::move(file));
        } catch (const spdlog::spdlog_ex& error) {
            fileTrouble = error.what();
        }
    }
    if (options.toStandardError) {
        auto terminal = std::make_shared<spdlog::sinks::stderr_sink_mt>();
        terminal->set_level(spdlogLevel(options.standardErrorLevel));
        terminal->set_pattern("%l %v");
        logger->sinks().push_back(std::move(terminal));
    }
    logger->flush_on(spdlog::level::info);
    logger->set_error_handler([](const std::string&) {});  // a full disk costs the lines, nothing else
    before_ = log::setSink([logger](const log::Record& record) {
        logger->log(spdlogLevel(record.level), "{}: {}", record.category, record.message);
    });
    if (!fileTrouble.empty()) log::error("Log", "No log file: {}", fileTrouble);
}

LogSink::~LogSink() { log::setSink(before_); }

}  // namespace kelvaris
