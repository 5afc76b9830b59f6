/*
 * The camera description: the settings document of the camera's model, extended by an "info" object that describes this
 * camera.
 */
#pragma once

#include <sstream>

/*
 * Writes the document with its header, or an error answer, into a stream that is empty on entry.
 *
 * 0; the code of the camera state getter that failed; or ZV_ERR_FILE_OPEN when there are no settings to be read: no
 * file, one that cannot be read to its end or holds no object, or one beyond 16 MiB. ZV_ERR_OUTOFMEM, with the stream
 * bad, or std::bad_alloc when memory runs out: what the stream holds is no answer then. Failures and fallbacks are
 * logged under the source name "zvControl".
 */
int camera_description_output_json(std::stringstream& stream);
