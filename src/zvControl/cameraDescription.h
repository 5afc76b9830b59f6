/*
 * The camera description: the settings document of the camera's model, extended by an "info" object that describes this
 * camera.
 */
#pragma once

#include "answerStream.h"

/*
 * Writes the document with its header, or an error answer, into a stream that is empty on entry.
 *
 * 0; the code of the camera state getter that failed; or ZV_ERR_FILE_OPEN when no settings can be read: the file is
 * missing, cannot be read to its end, holds no object, or is longer than 16 MiB. When memory runs out: ZV_ERR_OUTOFMEM
 * and a stream that lacks memory, or std::bad_alloc; what the stream holds then is no answer. Failures and fallbacks
 * are logged under the source name "zvControl".
 */
int camera_description_output_json(AnswerStream& stream);
