#include "controlClient.h"
#include "zvCtrlD.h"
#include "zvErrno.h"

#include <cstdlib>
#include <cstring>
#include <exception>
#include <vector>

namespace {

struct Row {
    const char* uri;
    zvcontrol_handler handler;
    zvcontrol_hook openHook;
    zvcontrol_hook closeHook;
};

struct Interface {
    bool open = false;
    std::vector<Row> rows;
};
constinit Interface interface;

const Row* findRow(const char* path) {
    if (path == nullptr) {
        return nullptr;
    }
    const char* uri = path[0] == '/' ? path + 1 : path;
    for (const Row& row : interface.rows) {
        if (std::strcmp(row.uri, uri) == 0) {
            return &row;
        }
    }
    return nullptr;
}

int serve(const Row& row, const char* params, char* response, int responseSize) {
    if (row.openHook != nullptr) {
        const int opened = row.openHook();
        if (opened != ZV_OK) {
            return opened;
        }
    }
    const int result = row.handler(params, response, responseSize);
    if (row.closeHook != nullptr) {
        row.closeHook(); // its code does not change the result
    }
    return result;
}

// The port of the HTTP client that is served, when the web server tells it; empty otherwise.
std::span<const unsigned char> clientsPort() {
    const char* port = std::getenv("REMOTE_PORT");
    if (port == nullptr) {
        return {};
    }
    const std::span<const unsigned char> digits(reinterpret_cast<const unsigned char*>(port), std::strlen(port));
    return zvcontrol::isPort(digits) ? digits : std::span<const unsigned char>();
}

} // namespace

int zvcontrol_uri_interface_open(void) {
    if (interface.open) {
        return ZV_ERR;
    }
    const auto port = clientsPort();
    zvcontrol::Answer unused;
    const int result = zvcontrol::exchange(zvcontrol::Operation::Open, 0, port, unused);
    interface.open = result == ZV_OK;
    return result;
}

int zvcontrol_uri_interface_close(void) {
    if (!interface.open) {
        return ZV_ERR;
    }
    interface.open = false;
    std::vector<Row>().swap(interface.rows);
    return zvcontrol::request(zvcontrol::Operation::Close, 0);
}

int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook openHook,
                              zvcontrol_hook closeHook) try {
    if (uri == nullptr || handler == nullptr) {
        return ZV_ERR_INVALID_PARAM;
    }
    if (!interface.open) {
        return ZV_ERR;
    }
    interface.rows.push_back({uri, handler, openHook, closeHook});
    return ZV_OK;
} catch (const std::exception&) {
    return ZV_ERR_OUTOFMEM;
}

int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int responseSize) {
    const Row* found = findRow(path);
    if (found == nullptr) {
        return ZV_ERR_NOT_SUPPORTED;
    }
    const Row row = *found; // a copy: the handler may close the interface
    return serve(row, params, response, responseSize);
}
