/* Camera models: code names by model number. */
#ifndef ZV_MODEL_H
#define ZV_MODEL_H

#ifdef __cplusplus
extern "C" {
#endif

/* The code name of a model (also the name of its settings directory), or null. Not to be freed. */
const char* get_model_name(int model_number);

#ifdef __cplusplus
}
#endif

#endif
