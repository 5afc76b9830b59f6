// Nothing at all, but loaded with the libraries that the gateway is loaded with: what its start costs at least.
int main() {
    return 0;
}
