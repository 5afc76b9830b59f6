#include "bleElements.h"

#include "bleMessages.h"
#include "bleTest.h"

namespace {

class ElementsOpen : public BleTest {};

std::string textOf(const MsgElement& element) {
    return {reinterpret_cast<const char*>(element.getData()), element.getLength()};
}

} // namespace

TEST(BleElements, StandReadyAndEmpty) {
    const struct {
        const MsgElement& element;
        int type;
    } rows[] = {
        {commandTagElement, 65}, {commandDataElement, 66},        {replyQueueElement, 68}, {destinationElement, 67},
        {tailElement, 238},      {networkDestinationElement, 67}, {spareReplyElement, 69},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(row.type, row.element.getType());
        EXPECT_EQ(0, row.element.getLength());
    }
}

TEST(BleElements, LengthOfATextIsTakenModulo65536) {
    for (const auto& [size, length] : {std::pair{65535U, 65535}, {65536U, 0}, {65537U, 1}}) {
        const std::string text(size, 'x');
        setText(commandTagElement, text.c_str());
        EXPECT_EQ(length, commandTagElement.getLength());
        commandTagElement.setData(nullptr, 0);
    }
}

TEST(BleElements, KeepNoCopyOfATextButPointToIt) {
    const char text[] = "text";
    for (MsgElement* const element : {&commandTagElement, &commandDataElement, &replyQueueElement, &destinationElement,
                                      &networkDestinationElement}) {
        setText(*element, text);
        EXPECT_EQ(static_cast<const void*>(text), element->getData());
        EXPECT_EQ(4, element->getLength());
        element->setData(nullptr, 0);
    }
}

TEST_F(ElementsOpen, OpeningFillsQueuesAndDestinations) {
    EXPECT_EQ(QueuePeer::replyQueueName(), textOf(replyQueueElement));
    EXPECT_EQ("/to_ble", textOf(destinationElement));
    EXPECT_EQ("/to_zvnet", textOf(networkDestinationElement));
    EXPECT_EQ(0, tailElement.getLength());
    EXPECT_EQ(0, spareReplyElement.getLength());
}

TEST_F(ElementsOpen, ClosingTakesTheReplyQueuesNameBack) {
    EXPECT_EQ(0, ble_interface_close());
    EXPECT_EQ(0, replyQueueElement.getLength());
    EXPECT_EQ(0, ble_interface_open());
}

TEST_F(ElementsOpen, StandardElementsStandInTheirOrder) {
    unsigned char data[] = {9, 8, 7};
    setText(commandTagElement, "BL");
    commandDataElement.setData(data, sizeof data);
    BLECommandMsg request;
    addStandardElements(request);
    unsigned char buffer[100];
    MemStream stream(buffer, sizeof buffer);
    stream << request;

    const std::string name = QueuePeer::replyQueueName();
    const auto n = static_cast<std::uint8_t>(name.size());
    const Bytes expected = join({{0, static_cast<std::uint8_t>(36 + n), 0, 2},
                                 {0, 0, 2, 65, 'B', 'L'},
                                 {0, 0, 3, 66, 9, 8, 7},
                                 {0, 0, n, 68},
                                 bytesOf(name),
                                 {0, 0, 7, 67, '/', 't', 'o', '_', 'b', 'l', 'e'},
                                 {0, 0, 0, 238}});
    EXPECT_EQ(expected, Bytes(buffer, buffer + stream.getLength()));
    commandDataElement.setData(nullptr, 0);
}
