// The camera state items against a real zvControlD.
#include "csi.h"

#include "controlClient.h"
#include "controlDaemonProcess.h"
#include "controlScenario.h"
#include "zvErrno.h"

#include <cstring>
#include <gtest/gtest.h>

using ControlDaemon = zvtest::ControlDaemonProcess;
using zvtest::scenario;

TEST(Csi, GivesTheItems) {
    const ControlDaemon daemon(scenario);
    int value = 0;
    int returned = 0;
    EXPECT_EQ(0, csi_get(CSI_RECORDING, 4, &returned, &value));
    EXPECT_EQ(1, value);
    EXPECT_EQ(4, returned);
    EXPECT_EQ(0, csi_get(CSI_AP_PAIRING_STATE, 4, nullptr, &value));
    EXPECT_EQ(-2, value);
}

TEST(Csi, ASetItemIsGiven) {
    const ControlDaemon daemon(scenario);
    int value = 0;
    EXPECT_EQ(0, zvcontrol::setItem(CSI_AP_PAIRING_STATE, 1));
    EXPECT_EQ(0, csi_get(CSI_AP_PAIRING_STATE, 4, nullptr, &value));
    EXPECT_EQ(1, value);
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, zvcontrol::setItem(55, 1));
}

TEST(Csi, RefusesUnknownItemsWrongSizesAndNoValue) {
    const ControlDaemon daemon(scenario);
    int value = 7;
    int returned = 9;
    for (const int item : {0, 2, 4, 53, 55, -3}) {
        EXPECT_EQ(ZV_ERR_INVALID_PARAM, csi_get(item, 4, &returned, &value)) << item;
    }
    for (const int size : {-4, 0, 1, 3, 5, 8}) {
        EXPECT_EQ(ZV_ERR_INVALID_PARAM, csi_get(CSI_RECORDING, size, &returned, &value)) << size;
    }
    EXPECT_EQ(ZV_ERR_INVALID_PARAM, csi_get(CSI_RECORDING, 4, &returned, nullptr));
    EXPECT_EQ(7, value);
    EXPECT_EQ(9, returned);
}

TEST(Csi, TheValueNeedNotBeAligned) {
    const ControlDaemon daemon(scenario);
    alignas(4) unsigned char bytes[6] = {9, 9, 9, 9, 9, 9};
    EXPECT_EQ(0, csi_get(CSI_RECORDING, 4, nullptr, bytes + 1));
    const int one = 1;
    EXPECT_EQ(0, std::memcmp(bytes + 1, &one, 4));
    EXPECT_EQ(9, bytes[0]);
    EXPECT_EQ(9, bytes[5]);
}
