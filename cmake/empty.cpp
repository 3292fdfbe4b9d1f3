// SPDX-License-Identifier: MIT
// The only source of a shared library that consists of whole static libraries.
