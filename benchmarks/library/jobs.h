#pragma once
// The jobs of the libraries. Each family checks, before anything is timed, that all contenders give the same
// result.

#include "harness.h"

#include <vector>

using Jobs = std::vector<bench::Job>;

void addUrlJobs(Jobs& jobs);
void addFormJobs(Jobs& jobs);
void addPercentJobs(Jobs& jobs);
void addEntityJobs(Jobs& jobs);
void addContainerJobs(Jobs& jobs);
void addRecordJobs(Jobs& jobs);
