#pragma once

/// The power of two that a block of samples shares when it is read out as 16-bit numbers: sample ~ value x scale.
struct BlockScale
{
  unsigned bits; ///< by how many bits integer samples are shifted
  bool shrinks;  ///< to the right, because the largest sample does not fit 16 bits; else to the left
  float scale;
};

/// The scale that makes the largest absolute value fill 16 bits, 1 for a peak of 0.
BlockScale ChooseBlockScale(double peak);
