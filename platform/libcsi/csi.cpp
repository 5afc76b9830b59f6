#include "csi.h"

#include "controlClient.h"
#include "zvErrno.h"

#include <cstdint>
#include <cstring>

namespace {

constexpr int itemSize = sizeof(std::int32_t);

constexpr bool known(int item) {
    return item == CSI_RECORDING || item == CSI_AP_PAIRING_STATE;
}

} // namespace

int csi_get(int item, int size, int* returned, void* value) {
    if (!known(item) || size != itemSize || value == nullptr) {
        return ZV_ERR_INVALID_PARAM;
    }
    std::int32_t number = 0;
    const int result = zvcontrol::getItem(item, number);
    if (result == ZV_OK) {
        std::memcpy(value, &number, sizeof number);
        if (returned != nullptr) {
            *returned = itemSize;
        }
    }
    return result;
}
