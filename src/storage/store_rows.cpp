#include "storage/store_rows.h"

#include <immintrin.h>

#include <cstring>

#include "storage/kernels/regret_matching.h"

void FillDefaultRows(FloatVec* out, int actions, int hands, const float* defaultRow) {
  for (int a = 0; a < actions; ++a) {
    ResizeVector(out[a], hands);
    const float value = defaultRow ? defaultRow[a] : 0.0f;
    float* o = out[a].data;
    for (int i = 0; i < hands; ++i) o[i] = value;
  }
}

void MatchFloatRows(const float* const* rows, FloatVec* out, int actions, int hands, const float* defaultRow) {
  for (int a = 0; a < actions; ++a) ResizeVector(out[a], hands);
  if (actions == 2) {
    RegretMatch2(rows[0], rows[1], out[0].data, out[1].data, hands, defaultRow);
  } else if (actions == 3) {
    RegretMatch3(rows[0], rows[1], rows[2], out[0].data, out[1].data, out[2].data, hands, defaultRow);
  } else {
    float* outRows[64] = {};
    float** target = actions <= 64 ? outRows : new float*[size_t(actions)];
    for (int a = 0; a < actions; ++a) target[a] = out[a].data;
    RegretMatchN(rows, target, actions, hands, defaultRow);
    if (target != outRows) delete[] target;
  }
}

void ReleaseIfZero(FloatVec& row) {
  if (!row.data) return;
  // Rows are rarely all zero: stop at the first block with a bit set.
  int i = 0;
  for (; i + 8 <= row.count; i += 8) {
    const __m256i block = _mm256_castps_si256(_mm256_loadu_ps(row.data + i));
    if (!_mm256_testz_si256(block, block)) return;
  }
  uint32_t bits = 0;
  for (; i < row.count; ++i) {
    uint32_t word;
    std::memcpy(&word, row.data + i, sizeof word);
    bits |= word;
  }
  if (bits == 0) ReleaseVector(row);
}
