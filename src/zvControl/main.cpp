#include "standardDescriptors.h"
#include "zvControl.h"

int main() {
    openStandardDescriptors();
    return zvControlMain();
}
