#pragma once

#include <optional>
#include <string>

/** Bytes of a node as a person reads them: text as it is, a bandwidth as its four bytes and their value. */
std::string ReadableBytes(std::string const& bytes);

/** The number that a node's bytes stand for: decimal text, or four raw bytes. */
std::optional<long long> NumberOf(std::string const& bytes);

/** @return the text without any occurrence of the part. */
std::string Without(std::string text, std::string const& part);
