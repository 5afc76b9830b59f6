/*
 * The custom URI "execute": starts, stops or restarts programs of the camera's installation directory.
 */
#pragma once

/*
 * Handler of the URI dispatcher. Reads up to 16 commands from the query text (null counts as empty), each made of p<n>=
 * (program), a<n>= (arguments, may be absent) and c<n>= ("start", "stop" or "restart"), n from 1 upwards without a gap;
 * validates all of them, then carries them out in order. The first failure ends the request; commands carried out
 * before it stay done.
 *
 * Prints the complete answer to standard output, once, when all work is done, and returns ZV_ERR_RESPONSE_ALREADY_SENT.
 * When memory runs out, it prints nothing and returns ZV_ERR_OUTOFMEM; commands carried out until then stay done, and
 * none is carried out without the memory to begin an answer. Ignores the response buffer and its size. Logs nothing.
 *
 * The arguments reach the system shell as they are: whoever may send this request may run any command. The web server
 * decides who may.
 */
int handle_command_execute(const char* params, char* response, int responseSize);
