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
 * Prints the complete answer to standard output, once, after all work is done, and always returns
 * ZV_ERR_RESPONSE_ALREADY_SENT; only when memory runs out it prints nothing and returns ZV_ERR_OUTOFMEM. Without the
 * memory to begin an answer nothing is carried out; commands carried out before memory runs out stay done. Ignores the
 * response buffer and its size. Logs nothing.
 *
 * The arguments reach the system shell as they are: whoever may send this request may run any command. Who may reach
 * the control URL space is for the web server to decide.
 */
int handle_command_execute(const char* params, char* response, int responseSize);
