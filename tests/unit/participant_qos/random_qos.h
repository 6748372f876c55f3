// SPDX-License-Identifier: Apache-2.0
/**
 * @file random_qos.h
 * @brief QoS records that vary every field of every policy, the ends of the ranges above all.
 */
#pragma once

#include "fixture.h"

/** Whether the ports of the record have to be ones that a participant can have. */
enum class Ports { ANY, USABLE };

/**
 * Fills @p qos, which must be the default, from the numbers that follow from @p seed. Most records
 * are consistent; the others miss a range by little.
 */
void fill(Qos &qos, unsigned seed, Ports ports);
