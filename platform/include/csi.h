/*
 * The interface of the closed library libcsi: camera state items.
 */
#ifndef CSI_H
#define CSI_H

#ifdef __cplusplus
extern "C" {
#endif

/* Non-zero while the camera records. 32-bit. */
#define CSI_RECORDING 3
/* Pairing state of the access point: 1 while a pairing is under way. 32-bit. */
#define CSI_AP_PAIRING_STATE 54

/*
 * Reads a camera state item.
 *
 *   item      item number, one of the above
 *   size      room at value in bytes: 4
 *   returned  receives the number of bytes stored; may be null
 *   value     receives the item, in the processor's byte order
 *
 * Returns 0 on success. On failure value and returned stay as they are, and the result is ZV_ERR_INVALID_PARAM for an
 * unknown item, a wrong size or a null value, ZV_ERR when the control daemon does not answer. Logs nothing.
 */
int csi_get(int item, int size, int* returned, void* value);

#ifdef __cplusplus
}
#endif

#endif
