// The requests of the BLE commands: categories, element types and the two message classes.
#pragma once

#include "zvCtrlD.h"

// Categories of a message.
inline constexpr unsigned char CAT_CGI_BP_REQ = 2;
inline constexpr unsigned char CAT_CGI_BP_RSP = 3;

// Types of a message's elements.
inline constexpr unsigned char typeCMD = 65;   // command tag, two characters
inline constexpr unsigned char typeDATA = 66;  // parameter block; its first byte is the command code
inline constexpr unsigned char typeDST = 67;   // queue of the daemon that carries out the request
inline constexpr unsigned char typeSRC = 68;   // queue that takes the reply
inline constexpr unsigned char typeRSP = 69;   // reply: status byte (0 success), result data
inline constexpr unsigned char typeTAIL = 238; // end of a request, empty

// A request to the BLE daemon.
class BLECommandMsg : public Msg {
public:
    BLECommandMsg();
    ~BLECommandMsg() override;
};

// A request to the network daemon itself.
class ZvNetMsg : public Msg {
public:
    ZvNetMsg();
    ~ZvNetMsg() override;
};
