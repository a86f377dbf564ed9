// SPDX-License-Identifier: Apache-2.0

#pragma once

/** The files of platforms/ that the demo plays, compiled in. */
extern char const* const SAMPLE_PLATFORM;
extern char const* const DEMO_SCRIPT;
