#include "zvControl.h"

int main() {
    return zv_control_main();
}
