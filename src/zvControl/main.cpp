#include "zvControl.h"

int main() {
    return zvControlMain();
}
