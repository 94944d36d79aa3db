// alias.h - a second exported name for a function of the same translation unit.
#pragma once

#define QLDAPX_ALIAS(function) __attribute__((alias(#function)))
