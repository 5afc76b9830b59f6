#include "serving.h"

#include "fakePlatform.h"
#include "outputCapture.h"
#include "scarceMemory.h"
#include "zvControl.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

void setVariable(const char* name, const char* value) {
    if (value == nullptr) {
        unsetenv(name);
    } else {
        setenv(name, value, 1);
    }
}

} // namespace

Served serve(const char* path, const char* params) {
    setVariable("PATH_INFO", path);
    setVariable("QUERY_STRING", params);
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const zvtest::OutputCapture errors(STDERR_FILENO);
    const int result = zvControlMain();
    return {result, output.text(), errors.text()};
}

Served serveWithin(std::size_t most, const char* path, const char* params) {
    setVariable("PATH_INFO", path);
    setVariable("QUERY_STRING", params);
    const zvtest::OutputCapture output(STDOUT_FILENO);
    const zvtest::OutputCapture errors(STDERR_FILENO);
    int result = 99;
    {
        const zvtest::ScarceMemory scarce(most);
        result = zvControlMain();
    }
    return {result, output.text(), errors.text()};
}

void answerWith(int result, const std::string& text) {
    zvtest::fakePlatform().serve = [=](const char*, const char*, char* response, int size) {
        std::snprintf(response, static_cast<std::size_t>(size), "%s", text.c_str());
        return result;
    };
}
