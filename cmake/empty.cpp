// SPDX-License-Identifier: MIT
// A library of nothing but the archives that are linked into it whole.
