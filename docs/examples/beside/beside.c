/*
 * A library that is loaded beside the gateway. It is linked with nothing: log level and log are the program's own.
 */
#include <zvLog.h>
#include <zvModel.h>

void beside_log_model(int number) {
    const char* name = get_model_name(number);
    ZV_LOG_AT(UTIL_LOG_ERROR, __LINE__, "beside", "model %d is %s\n", number, name ? name : "unknown");
}
