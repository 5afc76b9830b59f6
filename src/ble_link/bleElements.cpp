#include "bleElements.h"

#include "bleMessages.h"

#include <cstring>

MsgElement commandTagElement(typeCMD, true);
MsgElement commandDataElement(typeDATA, true);
MsgElement replyQueueElement(typeSRC, true);
MsgElement destinationElement(typeDST, true);
MsgElement tailElement(typeTAIL, 0, nullptr, true);
MsgElement networkDestinationElement(typeDST, true);
MsgElement spareReplyElement(typeRSP, 0, nullptr, true);

void setText(MsgElement& element, const char* text) {
    // An element only reads what it borrows.
    auto* bytes = reinterpret_cast<unsigned char*>(const_cast<char*>(text));
    element.setData(bytes, static_cast<unsigned short>(std::strlen(text)));
}

void addStandardElements(Msg& message) {
    message.addElement(&commandTagElement);
    message.addElement(&commandDataElement);
    message.addElement(&replyQueueElement);
    message.addElement(&destinationElement);
    message.addElement(&tailElement);
}
