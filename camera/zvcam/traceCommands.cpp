// trace, decode: the messages of the queues, field by field.
#include "groups.h"
#include "scenario.h"
#include "traceFollower.h"
#include "traceText.h"

#include <cstdio>
#include <fstream>
#include <iostream>

namespace zvcamera {
namespace {

struct Words {
    bool follow = false;
    bool brief = false;
    bool clear = false;
    std::string file;
};

// Where records go: to a file as JSON lines, to standard output likewise (--json) or in words.
TraceFollower::Sink sinkOf(const Tool& tool, const Words& words) {
    if (words.file.empty()) {
        const bool json = tool.json();
        const bool fields = !words.brief;
        return [json, fields](const Json& record) {
            const std::string text = json ? toLine(record) + "\n" : toText(readTraceRecord(record), fields);
            std::fputs(text.c_str(), stdout);
            std::fflush(stdout);
        };
    }
    const auto file = std::make_shared<std::ofstream>(words.file, std::ios::binary | std::ios::trunc);
    return [file, name = words.file](const Json& record) {
        *file << toLine(record) << '\n' << std::flush;
        if (!*file) {
            throw std::runtime_error(name + ": cannot be written");
        }
    };
}

void trace(Tool& tool, const Words& words) {
    TraceFollower follower(tool);
    const TraceFollower::Sink sink = sinkOf(tool, words);
    if (words.follow) {
        follower.follow(sink);
    }
    if (words.clear) {
        follower.clear();
        return;
    }
    for (const Json& record : follower.kept()) {
        sink(record);
    }
}

void decode(const Words& words) {
    std::ifstream file;
    if (words.file != "-") {
        file.open(words.file, std::ios::binary);
        if (!file) {
            throw std::runtime_error(words.file + ": cannot be opened");
        }
    }
    std::istream& in = words.file == "-" ? std::cin : file;
    std::size_t number = 0;
    for (std::string line; std::getline(in, line);) {
        ++number;
        try {
            std::fputs(toText(readTraceRecord(Json::parse(line)), !words.brief).c_str(), stdout);
        } catch (const std::exception& error) {
            throw std::runtime_error(words.file + ", line " + std::to_string(number) + ": " + error.what());
        }
    }
}

} // namespace

void addTraceCommands(CLI::App& app, Tool& tool) {
    const auto words = std::make_shared<Words>();
    auto* tracing = app.add_subcommand("trace", "Show the messages of the queues, field by field");
    tracing->add_flag("--follow,-f", words->follow, "Go on with what comes, until interrupted");
    tracing->add_flag("--brief,-b", words->brief, "One line a message");
    tracing->add_option("--file", words->file, "Write JSON lines with the raw bytes to this file instead");
    tracing->add_flag("--clear", words->clear, "Forget the messages so far instead")->excludes("--follow", "--file");
    tracing->callback([&tool, words] { tool.does([&tool, words] { trace(tool, *words); }); });

    const auto decoded = std::make_shared<Words>();
    auto* decoding = app.add_subcommand("decode", "Show the messages of a file that trace has written");
    decoding->add_option("file", decoded->file, "The file, or - for standard input")->required();
    decoding->add_flag("--brief,-b", decoded->brief, "One line a message");
    decoding->callback([&tool, decoded] { tool.does([decoded] { decode(*decoded); }); });
}

} // namespace zvcamera
