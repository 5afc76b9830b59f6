/*
 * The daemons' socket for the camera's tool: a Unix stream socket; each line is one JSON object, in both directions.
 *
 * {"op":"name", ...} is answered with {"ok":true,"result":...} or {"ok":false,"error":"text"}, in the order of the
 * requests. "kind":"invalid" stands beside the error when the request is wrong in itself: an unknown op or key, a value
 * of another type or out of its range. After a subscription a client gets {"event":"topic","data":...} lines too.
 *
 * No client can hold or stop the daemon. Nothing waits. A request line has at most 64 KiB and 16 levels of nesting. A
 * client that leaves more than 4 MiB unread is dropped. The client that exceeds 64 pushes out the one that has been
 * connected longest without a subscription.
 */
#pragma once

#include "eventLoop.h"
#include "jsonReader.h"

#include <cstdint>
#include <functional>
#include <map>
#include <set>
#include <string>

namespace zvcamera {

class AdminServer {
public:
    // Gets the whole request and returns the result. The text of an exception becomes the error text; a JsonError, a
    // Json::exception and a std::invalid_argument are of the kind "invalid".
    using Handler = std::function<Json(const Json& request)>;

    static constexpr std::size_t lineLimit = std::size_t{64} << 10;
    static constexpr std::size_t unreadLimit = std::size_t{4} << 20;
    static constexpr std::size_t clientLimit = 64;

    // Listens on path; replaces a socket file that nobody serves any more. Throws std::runtime_error when another
    // process serves it, std::system_error when it cannot be made. The loop must outlive the server.
    AdminServer(EventLoop& loop, std::string path);
    ~AdminServer();
    AdminServer(const AdminServer&) = delete;
    AdminServer& operator=(const AdminServer&) = delete;

    void on(const std::string& op, Handler handler);
    // As on(); from then on, the client also receives what is published under the op's name.
    void onSubscribe(const std::string& op, Handler handler);
    void publish(const std::string& topic, const Json& data);
    bool hasSubscribers(const std::string& topic) const;
    std::size_t clients() const { return clients_.size(); }

private:
    struct Client {
        zv::UniqueFd fd;
        std::string input;
        std::string output;
        std::set<std::string> topics;
        bool ending = false; // nothing more is read; closed once the output is out
    };
    struct Operation {
        Handler handler;
        bool subscribes;
    };

    void accept();
    void serve(std::uint64_t id, short revents);
    bool read(Client& client);
    bool handleLines(Client& client);
    std::string answer(Client& client, const std::string& line);
    bool flush(Client& client);
    void update(std::uint64_t id);
    void drop(std::uint64_t id);
    void dropOldest();

    EventLoop& loop_;
    std::string path_;
    zv::UniqueFd listener_;
    std::map<std::string, Operation> operations_;
    std::map<std::uint64_t, Client> clients_; // by age
    std::uint64_t lastClient_ = 0;
    std::uint64_t serving_ = 0; // the client whose requests are being handled: publish() must not drop it
};

} // namespace zvcamera
