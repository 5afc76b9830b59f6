// The same in the C++ that one would write first.
#include <iostream>

int main() {
    std::cout << "Status: 200 OK\r\nContent-Type: application/json\r\n\r\n{}";
    return 0;
}
