#!/usr/bin/env bash
# Regenerates the .cube fixtures written by another colour tool: OpenColorIO's
# ociobakelut (Debian: opencolorio-tools), config-free, from ASC CDL values.
# The tests recompute the same CDL maths, so these files check our reader
# against what the tool wrote. Run from this folder.
set -euo pipefail
cdl=(--slope 1.1 0.9 1.0 --offset 0.02 0.0 -0.01 --power 1.2 1.0 0.8 --sat 0.8)
ociobakelut "${cdl[@]}" --format iridas_cube --cubesize 2 ocio_iridas_2.cube
ociobakelut "${cdl[@]}" --format iridas_cube --cubesize 17 ocio_iridas_17.cube
ociobakelut "${cdl[@]}" --format resolve_cube --cubesize 17 ocio_resolve_17.cube
# Without saturation the transform is separable: resolve_cube writes a 1D table.
ociobakelut --slope 1.1 0.9 1.0 --offset 0.02 0.0 -0.01 --power 1.2 1.0 0.8 --format resolve_cube --cubesize 128 ocio_resolve_1d_128.cube
# Our domain fixture, rebaked by the tool onto the 0..1 domain.
ociobakelut --lut domain_2.cube --format iridas_cube --cubesize 2 ocio_domain_2_rebaked.cube
