// Rows of point clouds: AddPointCloud beside the families of single sources, in one run.
#pragma once

/// Prints the rows; `most` is the largest cloud, `threads` the larger of the two thread counts.
void RunClouds(double most, int threads);
