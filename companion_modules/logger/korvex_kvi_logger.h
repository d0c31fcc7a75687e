// The logger module: writes diagnostic lines to standard error or to a file, never to standard output.
//
// A line shows time, level, channel, text and place:
//
//   2024-05-31T17:03:12.004+02:00 error SOME_CHANNEL: the text (file.cpp:97 function)
//
// The environment sets what is written where. It is read when a channel is opened and no other is open:
//
//   KVI_LOG_LEVEL  error, warning (also when unset or empty) or info: lines below that level are dropped.
//                  Any other value counts as warning, and a warning line says so.
//   KVI_LOG_FILE   the file to append to, for all channels; missing directories are created. When unset or
//                  empty, lines go to standard error; so they do, after a warning line, when the file cannot
//                  be opened.
//
// All functions may be called concurrently, and also late in the exit of the process, when the destructors
// of this module's static objects have run. No exception leaves them. Only a log handle must not be used
// any more once its channel is closed.
//
// The declarations name the function types by which the library calls the module, so a definition that
// differs from them does not compile.
#pragma once

#include "../module_export.h"
#include "companion_interfaces/logger_module.h"

extern "C" {

// Opens the channel with these two names; lines show it as the first name or, when the second is neither
// null nor empty, as "first/second". Opening a channel that is open gives the same handle and counts.
// Returns null for a null first name and when memory runs out.
KX_MODULE_EXPORT kx::logger_module::get_log_function kvi_get_log;

// Writes one line. Levels: 0 error, 1 warning, 2 information; a level below 0 counts as error, one above 2
// is finer than information and never written. The texts are taken as they are; where one is null the line
// shows "?". Returns 0 when the line was written, 1 when it was dropped by its level, could not be written,
// or the handle is null.
KX_MODULE_EXPORT kx::logger_module::log_function kvi_log;

// Closes the channel once; it stays open until it has been closed as often as opened. Returns 0, or 1 when
// no such channel is open.
KX_MODULE_EXPORT kx::logger_module::free_log_function kvi_free_log;
}
