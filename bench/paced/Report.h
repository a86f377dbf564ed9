// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <utility>
#include <vector>

/** Prints one line a figure and contender: key, contender, median, first and third quartile over the rounds. */
class Report {
public:
    void Add(std::string const& key, std::string const& contender, std::vector<double> rounds);
};

/** @return the value below which that share lies. */
double Quantile(std::vector<double> values, double share);

inline double Median(std::vector<double> values)
{
    return Quantile(std::move(values), 0.5);
}
