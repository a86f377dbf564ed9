// SPDX-License-Identifier: Apache-2.0

#pragma once

/**
 * Clang's thread-safety analysis; elsewhere the annotations are documentation. Prefixed, because this header reaches
 * services, whose other libraries define the plain names.
 */
#if defined(__clang__)
#define CORVANE_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define CORVANE_THREAD_ATTRIBUTE(x)
#endif

#define CORVANE_CAPABILITY(x) CORVANE_THREAD_ATTRIBUTE(capability(x))
#define CORVANE_SCOPED_CAPABILITY CORVANE_THREAD_ATTRIBUTE(scoped_lockable)
#define CORVANE_GUARDED_BY(x) CORVANE_THREAD_ATTRIBUTE(guarded_by(x))
#define CORVANE_REQUIRES(...) CORVANE_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define CORVANE_ACQUIRE(...) CORVANE_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define CORVANE_RELEASE(...) CORVANE_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
/** For what locks a plain std::mutex, which the analysis knows with the platform's standard library only. */
#define CORVANE_NO_THREAD_SAFETY_ANALYSIS CORVANE_THREAD_ATTRIBUTE(no_thread_safety_analysis)
