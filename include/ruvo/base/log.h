/**
 * \file
 * ruvo/base/log.h - the log front end: levels, pluggable outputs, delivery.
 *
 * A record is one printf-style format and its arguments. It goes to every
 * registered output in registration order, or to standard error when none is
 * registered. Nothing here locks: register and unregister outputs while no
 * other thread logs.
 */
#ifndef RUVO_BASE_LOG_H
#define RUVO_BASE_LOG_H

#include <stdarg.h>
#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

/**@{*/
/** Levels. [fatal] and [error] records share level 0 and are never gated. */
#define RUVO_LOG_ERROR 0
#define RUVO_LOG_WARN  1
#define RUVO_LOG_INFO  2
#define RUVO_LOG_DEBUG 3
/**@}*/

/** An output formats the record itself. `args` belongs to the caller: an output
 * that needs it twice takes its own va_copy. */
typedef void (*ruvo_log_output_fn)(uint32_t level, const char *format, va_list args);

/** Sets the current level. 0 to 3 are taken as given; anything else, negative
 * values included, sets RUVO_LOG_INFO (2). */
RUVO_API void ruvo_log_level_set(uint32_t level) RUVO_NOEXCEPT;

/** The current level; 2 until it is set. */
RUVO_API int32_t ruvo_log_level_get(void) RUVO_NOEXCEPT;

/**@{*/
/** Delivers one record, ungated. A level above 3 reaches the outputs as
 * RUVO_LOG_WARN. With no output registered the record goes to standard error. */
RUVO_API void ruvo_log_output(uint32_t level, const char *format, ...) RUVO_NOEXCEPT;
RUVO_API void ruvo_log_voutput(uint32_t level, const char *format, va_list args) RUVO_NOEXCEPT;
/**@}*/

/** Adds an output behind the others. 0, or -1 for null or when all 9 slots are
 * taken. The same function may be registered twice and is then called twice. */
RUVO_API int ruvo_log_output_register(ruvo_log_output_fn output) RUVO_NOEXCEPT;

/** Removes the first registration of `output`; the others keep their order.
 * 0, or -1 for null or an output that is not registered. */
RUVO_API int ruvo_log_output_unregister(ruvo_log_output_fn output) RUVO_NOEXCEPT;

/** 1 while at least one output is registered, else 0. */
RUVO_API int ruvo_log_is_regestered(void) RUVO_NOEXCEPT;

RUVO_END_DECLS

#endif /* RUVO_BASE_LOG_H */
