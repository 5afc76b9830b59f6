/*
 * The closed control library libzvCtrlD: URI interface and dispatcher, daemon commands, camera state, HTTP output and
 * the messages of the camera's queues. The first part compiles as C.
 *
 * Results are the result codes of zvErrno.h: 0 on success, negative otherwise.
 */
#ifndef ZV_CTRLD_H
#define ZV_CTRLD_H

#include <stdbool.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A request handler: query text (may be null), response buffer (may be null) and its size in bytes. */
typedef int (*zvcontrol_handler)(const char* params, char* response, int response_size);
/* Called before (open) or after (close) a handler. */
typedef int (*zvcontrol_hook)(void);

/* Opens the control daemon's URI interface. Negative when the daemon does not answer, or when it is open
 * already. */
int zvcontrol_uri_interface_open(void);

/* Closes the interface and forgets all handlers. Negative when it is not open. */
int zvcontrol_uri_interface_close(void);

/*
 * Registers a handler for a URI, which is relative and without leading slash; the text must stay alive until the
 * interface is closed. Hooks may be null. ZV_ERR_INVALID_PARAM for a null uri or handler, ZV_ERR when the interface is
 * not open.
 */
int zvcontrol_uri_add_handler(const char* uri, zvcontrol_handler handler, zvcontrol_hook open_hook,
                              zvcontrol_hook close_hook);

/*
 * Serves a request: finds the handler whose URI equals path without one leading slash, calls its open hook, itself and
 * its close hook. The result is the handler's; when the open hook fails, handler and close hook are skipped and the
 * hook's code is the result. ZV_ERR_NOT_SUPPORTED when no handler serves the path. path and params may be null.
 */
int zvcontrol_uri_handle_uri_param(const char* path, const char* params, char* response, int response_size);

/* Daemon commands. */
#define ZVCONTROL_CMD_ANALYTICS_GET 38   /* no parameter; answers the absolute path of the analytics file */
#define ZVCONTROL_CMD_ANALYTICS_CLEAR 39 /* no parameter, no answer */

/*
 * Sends a command with its parameter bytes to the control daemon and waits for the answer, at most 5 seconds. The
 * answer is left in response as a zero-terminated text, cut to response_size - 1 characters; a null response or a size
 * of 0 drops it. On failure response is untouched and the daemon's code (or ZV_ERR when it does not answer) is the
 * result.
 */
int zvcontrol_send_command_param_response(int command, const unsigned char* param, int param_length, char* response,
                                          int response_size);

/*
 * Camera state. The text getters leave a zero-terminated text of at most size - 1 characters. 0 on success; otherwise a
 * negative code, and the output is untouched.
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

/* Writes an empty JSON object, the body of an answer that has nothing to say. */
void http_output_empty_json(std::ostream& stream);

/*
 * Writes a complete error answer: header with the HTTP status, and a JSON object with the members "status" (the
 * message), "zverr", "_function", "_line", "path" and "query", in this order. A null text counts as empty. Texts are
 * escaped so that a JSON parser accepts them whatever their bytes; what is not UTF-8 becomes U+FFFD. A http_status
 * outside 100 to 599 is answered as 500.
 */
void http_print_error_response_ex(std::ostream& stream, const char* path, const char* params, int http_status,
                                  int error_code, const char* message, const char* function, int line);

/*
 * Finds a parameter in a query text ("a=1&b=2"). key includes its equals sign and matches only at the start of a
 * parameter; the value reaches to the next "&" and has its %XX escapes decoded (one that is malformed or stands for a
 * zero byte stays as it is, "+" stays "+"). The first match wins. 1 when found; 0 otherwise, also for null params and
 * for a null or empty key, and value is untouched.
 */
int parseParam(const char* params, const char* key, std::string& value);

/*
 * A byte stream over the caller's buffer: writing appends from its start, reading takes from its start, both within the
 * capacity. An operation that does not fit does nothing and sets the failure state, which stays.
 */
class MemStream {
public:
    /* capacity: bytes of room when the stream is written, bytes to be read when it is read. */
    MemStream(unsigned char* buffer, unsigned short capacity);

    unsigned char* getBuffer() const;
    /* Bytes written so far. */
    unsigned short getLength() const;
    /* Bytes not yet read, and room not yet written. */
    unsigned short getUnread() const;
    unsigned short getRoom() const;
    bool fail() const;

    /* Append or take length bytes; false, and the failure state, when there are fewer (or less room). */
    bool write(const unsigned char* data, unsigned short length);
    bool read(unsigned char* data, unsigned short length);
    /* The next length bytes in place, or null as above. */
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
     * borrow: true leaves the data with the caller, who keeps them alive until the message has been written; false
     * makes the element copy and own what it is given. Null data count as none, whatever the length; so do data that
     * cannot be copied for want of memory.
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
    unsigned char* data_ = nullptr; // the caller's when borrowed, otherwise owned

public:
    MsgElement(const MsgElement&) = delete;
    MsgElement& operator=(const MsgElement&) = delete;
    ~MsgElement();
};

/*
 * A message: a category and a list of elements. On a queue it is 4 header bytes (total length big-endian, 0, the
 * category) and its elements in order, each 4 header bytes (0, data length big-endian, the type) and the data.
 */
class Msg {
public:
    explicit Msg(unsigned char category);
    Msg(const Msg&) = delete;
    Msg& operator=(const Msg&) = delete;

    /* The slots of the virtual table, in this order; other libraries derive from Msg. */
    virtual ~Msg();
    /* Drops all elements; the category stays. */
    virtual void clear();
    /* Bytes that the message takes on a queue. */
    virtual std::size_t getSize() const;
    virtual unsigned char getCategory() const;
    /* The first element of a type, owned by the message or by whoever added it; null when there is none. */
    virtual MsgElement* findElement(unsigned char type);
    /*
     * Traces the message in one line of the log, at level 6 (UTIL_LOG_TRACE), under a title that may be null. Only
     * while bit 8 of g_debug_level is set, the switch of all message traces: it is off at first.
     */
    virtual void dump(const char* title) const;

    /*
     * Appends an element, which stays the caller's and must outlive the message or its next clear(). Null is ignored.
     * The first 8 elements need no heap; when there is no memory for a further one, the message is incomplete until its
     * next clear() and cannot be written.
     */
    void addElement(MsgElement* element);

    friend MemStream& operator<<(MemStream& stream, const Msg& message);
    friend MemStream& operator>>(MemStream& stream, Msg& message);

private:
    static constexpr std::size_t blockSlots = 8;
    struct Slot {
        MsgElement* element = nullptr;  // the caller's, or the next member
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

    unsigned char constructed_; // category given at construction
    unsigned char category_;
    bool incomplete_ = false;
    Block first_;
    Block* last_ = &first_;
};

/* Writes the message whole; when it does not fit, is incomplete or longer than 65535 bytes, nothing is
 * written and the stream fails. */
MemStream& operator<<(MemStream& stream, const Msg& message);

/*
 * Reads the message that fills the rest of the stream: its total length is exactly what is left, and its elements add
 * up to it. An end marker (238) may be absent; where there is one, it is empty and the last element. The elements point
 * into the stream's buffer, which must outlive them. What is cut short, overlong or inconsistent sets the stream's
 * failure state, takes nothing from it, and leaves the message empty, with the category that it was constructed with.
 */
MemStream& operator>>(MemStream& stream, Msg& message);
#endif

#endif
