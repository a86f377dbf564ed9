// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "sandbox/Sandbox.h"

#include <chrono>
#include <optional>
#include <string>

/** Whether all of it can be shown as it is. */
bool IsText(std::string const& bytes);

/** Two hexadecimal digits for each byte. */
std::string HexOf(std::string const& bytes);
/** @throws std::invalid_argument if these are not two digits for each byte. */
std::string BytesOf(std::string const& hex);

/** Bytes of a node as a person reads them: text as it is, a bandwidth as its four bytes and their value. */
std::string ReadableBytes(std::string const& bytes);

/** A write as a person reads it: the node, the bytes and, if it failed, how. */
std::string TextOf(NodeWrite const& write);

/** The number that a node's bytes stand for: decimal text, or four raw bytes. */
std::optional<long long> NumberOf(std::string const& bytes);

/** What a node says that it is set to: without the line end, and of "a [b] c" the word that it has chosen. Raw bytes
 * stay. */
std::string SettingOf(std::string const& content);

/** The number that a node says, with or without a line end behind it. */
std::optional<long long> NumberAt(std::string const& content);

/** @return whether a node that says this holds what was written. */
bool Holds(std::string const& content, std::string const& written);

/** @return the text with the paths below a folder as if it were the root. */
std::string WithoutRoot(std::string text, std::string const& root);

/** A work mode with what it is about, as in "1 (boost first)". */
std::string WorkModeText(unsigned int mode);
/** What it is about alone. */
char const* WorkModeName(unsigned int mode);

/** "0.250s" */
std::string SecondsText(std::chrono::nanoseconds time);
