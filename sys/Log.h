// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/log.h>
#include <corvane/PfLogon.h>

// A path that prints is cold: the compiler moves it out of the lines that every call runs through.
extern "C" int __android_log_print(int priority, char const* tag, char const* format, ...) __attribute__((__cold__));

/**
 * The log macros. A source file defines LOG_TAG before it includes this header.
 *
 * Every format begins with "[%s:%d] ", which the macro fills with the method's own name and the line; the text stands
 * whole at the place of failure, so that a line of a log can be found in the sources. A line that is switched
 * off costs one relaxed load: its arguments are not evaluated.
 *
 * The _AS forms name the method explicitly, for a shared step that logs on behalf of the operation that called it.
 */
#define PF_LOG_PRINT(priority, method, format, ...)                                                                    \
    __android_log_print((priority), LOG_TAG, format, (method), __LINE__, ##__VA_ARGS__)

#define PF_LOG_PRINT_IF(bit, priority, method, format, ...)                                                            \
    do {                                                                                                               \
        if ((PfLogonNamespace::PfLogonGet() & (bit)) != 0) {                                                           \
            PF_LOG_PRINT(priority, method, format, ##__VA_ARGS__);                                                     \
        }                                                                                                              \
    } while (false)

/** Always printed. */
#define PF_LOGE(format, ...) PF_LOG_PRINT(ANDROID_LOG_ERROR, __func__, format, ##__VA_ARGS__)
#define PF_LOGW(format, ...) PF_LOG_PRINT(ANDROID_LOG_WARN, __func__, format, ##__VA_ARGS__)
#define PF_LOGI(format, ...) PF_LOG_PRINT(ANDROID_LOG_INFO, __func__, format, ##__VA_ARGS__)
#define PF_LOGE_AS(method, format, ...) PF_LOG_PRINT(ANDROID_LOG_ERROR, method, format, ##__VA_ARGS__)
#define PF_LOGW_AS(method, format, ...) PF_LOG_PRINT(ANDROID_LOG_WARN, method, format, ##__VA_ARGS__)
#define PF_LOGI_AS(method, format, ...) PF_LOG_PRINT(ANDROID_LOG_INFO, method, format, ##__VA_ARGS__)

/** Printed while the info bit of the switch is set. */
#define PF_LOGI_VERBOSE(format, ...) PF_LOGI_VERBOSE_AS(__func__, format, ##__VA_ARGS__)
#define PF_LOGI_VERBOSE_AS(method, format, ...)                                                                        \
    PF_LOG_PRINT_IF(PfLogonNamespace::INFO_BIT, ANDROID_LOG_INFO, method, format, ##__VA_ARGS__)

/** Printed while the debug bit of the switch is set. */
#define PF_LOGD(format, ...) PF_LOGD_AS(__func__, format, ##__VA_ARGS__)
#define PF_LOGD_AS(method, format, ...)                                                                                \
    PF_LOG_PRINT_IF(PfLogonNamespace::DEBUG_BIT, ANDROID_LOG_DEBUG, method, format, ##__VA_ARGS__)
