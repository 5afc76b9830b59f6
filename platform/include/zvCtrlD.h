/*
 * The interface of the closed control library libzvCtrlD: URI interface and dispatcher, daemon commands, camera state,
 * HTTP output, and the messages of the camera's queues. The first part compiles as C.
 *
 * Results are the codes of zvErrno.h: 0 on success, negative otherwise. Only Msg::dump logs.
 */
#ifndef ZV_CTRLD_H
#define ZV_CTRLD_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A request handler: query text (may be null), response buffer (may be null) and the buffer's size in bytes. */
typedef int (*zvcontrol_handler)(const char* params, char* response, int response_size);
/* A hook that is called before (open) or after (close) a handler. */
typedef int (*zvcontrol_hook)(void);

/* Opens the control daemon's URI interface. Fails when the daemon does not answer and when the interface is open. */
int zvcontrol_uri_interface_open(void);

/* Closes the interface and drops all handlers. Fails when the interface is not open. */
int zvcontrol_uri_interface_close(void);

/*
 * Registers a handler for a relative URI without leading slash. The text is not copied: it must live until the
 * interface is closed. Hooks may be null. ZV_ERR_INVALID_PARAM for a null uri or handler, ZV_ERR when the interface is
 * not open, ZV_ERR_OUTOFMEM when there is no memory for it.
 */
int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook open_hook,
                              zvcontrol_hook close_hook);

/*
 * Serves a request: finds the first handler whose URI equals path without one leading slash, then calls its open hook,
 * the handler and its close hook. Returns the handler's result. When the open hook fails, returns the hook's code and
 * skips handler and close hook. ZV_ERR_NOT_SUPPORTED when no handler serves the path. path and params may be null.
 */
int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int response_size);

/* Daemon commands. */
#define ZVCONTROL_CMD_ANALYTICS_GET 38   /* no parameter; answers the absolute path of the analytics file */
#define ZVCONTROL_CMD_ANALYTICS_CLEAR 39 /* no parameter, no answer */

/*
 * Sends a command with param_length bytes of parameter (4096 at most) to the control daemon, and waits for the answer,
 * at most 5 seconds. Stores the answer in response as a zero-terminated text, cut to response_size - 1 characters;
 * drops it when response is null or response_size is 0. On failure response stays as it is, and the result is the
 * daemon's code, ZV_ERR when the daemon does not answer, or ZV_ERR_INVALID_PARAM for a negative or too great length or
 * a null param that has one.
 */
int zvcontrol_send_command_param_response(int command, const unsigned char* param, int param_length, char* response,
                                          int response_size);

/*
 * Camera state. The text getters store a zero-terminated text, cut to size - 1 characters. On failure the output stays
 * as it is: ZV_ERR_INVALID_PARAM for a null output or a size below 1, ZV_ERR when the control daemon does not answer
 * within 5 seconds, or the daemon's code.
 */
int zvc_state_get_model_number(unsigned char* number);
int zvc_state_get_model_name(char* text, int size);
int zvc_state_get_firmware_version(char* text, int size);
int zvc_state_get_serial_number(char* text, int size);
int zvc_state_get_board_type(char* text, int size);
int zvc_state_get_ap_mac(char* text, int size);
int zvc_state_get_ap_ssid(char* text, int size);
int zvc_state_get_ap_has_default_credentials(bool* flag);

#ifdef __cplusplus
}

#include <cstddef>
#include <iosfwd>
#include <optional>
#include <string>

/* Writes the CGI header of a successful JSON answer, blank line included. Lines end in CR LF. */
void http_output_success_header(std::ostream& stream);

/* Writes an empty JSON object, the body of an answer without data. */
void http_output_empty_json(std::ostream& stream);

/*
 * Writes a complete error answer: header with the HTTP status, and a JSON object with the members "status" (the
 * message), "zverr", "_function", "_line", "path" and "query", in this order. A null text counts as empty. Texts are
 * escaped for JSON, and each byte that is not UTF-8 becomes U+FFFD. An http_status outside 100 to 599 counts as 500.
 * Without memory nothing is written, and the stream is bad.
 */
void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int http_status,
                                  int error_code, const char* message, const char* function, int line);

/*
 * Finds the first parameter in a query text ("a=1&b=2") that starts with key, which includes the equals sign. Stores
 * what follows, up to the next "&", in value. There, %XX escapes are decoded; a malformed one and that of a zero byte
 * stay, and so does "+". Returns 1. Returns 0 and leaves value as it is when there is none, when params is null, when
 * key is null or empty, and when there is no memory for the value.
 */
int parseParam(const char* params, const char* key, std::string& value);

/*
 * A byte stream over the caller's buffer. Writing and reading both begin at its start and end at the capacity. An
 * operation that does not fit does nothing but set the failure state, which is never cleared.
 */
class MemStream {
public:
    /* capacity: bytes of room for a stream that is written, bytes of data for one that is read. A null buffer has 0. */
    MemStream(unsigned char* buffer, unsigned short capacity);

    unsigned char* getBuffer() const;
    /* Bytes written so far. */
    unsigned short getLength() const;
    /* Bytes not yet read, and room not yet written. */
    unsigned short getUnread() const;
    unsigned short getRoom() const;
    bool fail() const;

    /* Append or take length bytes; false, and the failure state, when the room or the bytes are fewer. */
    bool write(const unsigned char* data, unsigned short length);
    bool read(unsigned char* data, unsigned short length);
    /* Takes length bytes and returns their address in the buffer; null, and the failure state, when there are fewer. */
    unsigned char* take(unsigned short length);
    void setFail();

private:
    unsigned char* buffer_;
    unsigned short capacity_;
    unsigned short written_ = 0;
    unsigned short taken_ = 0;
    bool failed_ = false;
};

MemStream& operator<<(MemStream& stream, unsigned char byte);
MemStream& operator>>(MemStream& stream, unsigned char& byte);

/* One element of a message: a type byte and up to 65535 bytes of data. */
class MsgElement {
public:
    /*
     * borrow: with true, the data stay the caller's and must live until the message has been written; with false, the
     * element owns a copy and frees it. Null data count as none, whatever the length; so do data without memory for
     * the copy.
     */
    MsgElement(unsigned char type, bool borrow);
    MsgElement(unsigned char type, unsigned short length, unsigned char* data, bool borrow);

    void setData(unsigned char* data, unsigned short length);
    unsigned char getType() const;
    unsigned short getLength() const;
    /* The data; null when there are none. */
    unsigned char* getData() const;

private:
    unsigned char type_;
    bool borrow_;
    unsigned short length_ = 0;
    unsigned char* data_ = nullptr; // the caller's or the element's own, by borrow_

public:
    MsgElement(const MsgElement&) = delete;
    MsgElement& operator=(const MsgElement&) = delete;
    ~MsgElement();
};

/*
 * A message: a category and a list of elements. On a queue it has 4 header bytes (2 of total length, 0, the category)
 * and its elements in order, each with 4 header bytes (0, 2 of data length, the type) and data. Lengths: big-endian.
 */
class Msg {
public:
    explicit Msg(unsigned char category);
    Msg(const Msg&) = delete;
    Msg& operator=(const Msg&) = delete;

    /* Fixed: the order of the virtual functions; other libraries derive from Msg. */
    virtual ~Msg();
    /* Drops all elements; the category stays. */
    virtual void clear();
    /* Bytes that the message takes on a queue. */
    virtual std::size_t getSize() const;
    virtual unsigned char getCategory() const;
    /* The first element of a type; null when there is none. It stays the message's, or that of whoever added it. */
    virtual MsgElement* findElement(unsigned char type);
    /*
     * Logs the message in one line at level 6 (UTIL_LOG_TRACE), behind a title that may be null. Does so only while bit
     * 8 of g_debug_level is set, the switch of all message traces, which is off at first.
     */
    virtual void dump(const char* title) const;

    /*
     * Appends an element, which stays the caller's and must live until the message's end or its next clear(). Ignores
     * null. The first 8 elements need no heap. When there is no memory for a further one, the message is incomplete: it
     * cannot be written until its next clear().
     */
    void addElement(MsgElement* element);

    friend MemStream& operator<<(MemStream& stream, const Msg& message);
    friend MemStream& operator>>(MemStream& stream, Msg& message);

private:
    static constexpr std::size_t blockSlots = 8;
    struct Slot {
        MsgElement* element = nullptr;  // the caller's, or the member below
        std::optional<MsgElement> read; // an element read from a stream
    };
    struct Block {
        Slot slots[blockSlots];
        std::size_t used = 0;
        Block* next = nullptr;
    };

    Slot* nextSlot();
    bool readElements(unsigned char* elements, std::size_t length);
    void dropElements();
    /* Calls visit for each element until it returns false. */
    template<class Visitor>
    void forEach(Visitor visit) const;

    unsigned char constructed_; // the category given to the constructor
    unsigned char category_;
    bool incomplete_ = false;
    Block first_;
    Block* last_ = &first_;
};

/*
 * Writes the whole message. When it does not fit, is incomplete or is longer than 65535 bytes, writes nothing and sets
 * the stream's failure state.
 */
MemStream& operator<<(MemStream& stream, const Msg& message);

/*
 * Reads one message, up to its total length; the stream then stands behind it, and further bytes stay unread. The
 * total length lies in the unread bytes, and the elements add up to it. The end marker (238) may be absent; if there is
 * one, it is empty and the last element. The elements point into the stream's buffer, which must outlive them. When the
 * bytes are no such message, or there is no memory for the elements, sets the stream's failure state, takes nothing,
 * and leaves the message empty with its first category.
 */
MemStream& operator>>(MemStream& stream, Msg& message);
#endif

#endif
