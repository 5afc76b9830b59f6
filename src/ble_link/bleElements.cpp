#include "bleElements.h"

#include "bleMessages.h"

#include <cstring>

MsgElement ble_command_tag(typeCMD, true);
MsgElement ble_command_data(typeDATA, true);
MsgElement ble_reply_queue(typeSRC, true);
MsgElement ble_destination(typeDST, true);
MsgElement ble_tail(typeTAIL, 0, nullptr, true);
MsgElement ble_network_destination(typeDST, true);
MsgElement ble_spare_reply(typeRSP, 0, nullptr, true);

void ble_set_text(MsgElement& element, const char* text) {
    // An element only reads what it borrows.
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(text));
    element.setData(bytes, static_cast<unsigned short>(std::strlen(text)));
}

void ble_add_standard_elements(Msg& message) {
    message.addElement(&ble_command_tag);
    message.addElement(&ble_command_data);
    message.addElement(&ble_reply_queue);
    message.addElement(&ble_destination);
    message.addElement(&ble_tail);
}
