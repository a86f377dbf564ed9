// SPDX-License-Identifier: Apache-2.0

#include "bench/paced/Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

double Quantile(std::vector<double> values, double share)
{
    auto const place =
        values.begin() + static_cast<std::ptrdiff_t>(std::lround(share * static_cast<double>(values.size() - 1)));
    std::nth_element(values.begin(), place, values.end());
    return *place;
}

void Report::Add(std::string const& key, std::string const& contender, std::vector<double> rounds)
{
    std::printf("%s\t%s\t%.6g\t%.6g\t%.6g\n", key.c_str(), contender.c_str(), Median(rounds), Quantile(rounds, 0.25),
                Quantile(rounds, 0.75));
    std::fflush(stdout);
}
