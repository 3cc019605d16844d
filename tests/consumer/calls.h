/* The calls that a consumer makes into the installed DLLs. */
#ifndef RUVO_CONSUMER_CALLS_H
#define RUVO_CONSUMER_CALLS_H

/* 0 when every call gave the documented answer, else the number of the
 * first that did not. Needs no C runtime, so that the MSVC-target program
 * can run it from its own entry point. */
int ruvo_consumer_calls(void);

#endif
