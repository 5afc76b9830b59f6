/* Camera models: code names by model number. */
#ifndef ZV_MODEL_H
#define ZV_MODEL_H

#ifdef __cplusplus
extern "C" {
#endif

/* The code name of a model, which its settings folder bears too; null for an unknown number. Not to be freed. */
const char* get_model_name(int model_number);

#ifdef __cplusplus
}
#endif

#endif
