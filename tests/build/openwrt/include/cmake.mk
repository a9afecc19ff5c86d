# Stands in for the build system's own, whose configure call the test of an SDK makes.
