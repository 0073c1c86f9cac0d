/*
 * One choice of scales serves every set of coins: the distance is that of the gap between
 * neighbouring coins, about 10 pixels; the angle a quarter turn, which tells facing rims apart and,
 * as larger angles count the same, holds the round of one coin together; the grey value a fifth of
 * its range. Nothing hangs on the exact figures: distances of 3, 5 and 10 and angles of 45 and 90
 * all separate these sets with an adjusted Rand index above 0.8.
 *
 * The four groups have neither orientation nor grey value. There 10 is about the distance between
 * neighbours within a group.
 */
#include "tasks.h"

#define COIN_SCALES .sigmaDistance = 10, .sigmaAngle = 90, .sigmaGrey = 50

const char *const fileName[FILES] = {[COINS] = "coins.csv", [FOUR_GROUPS] = "ruspini.csv"};

const Task tasks[TASKS] = {
    {.name = "four coins", .file = COINS, .groups = {1, 2, 7, 8}, .step = 3, COIN_SCALES},
    {.name = "four groups", .file = FOUR_GROUPS, .step = 1, .sigmaDistance = 10},
    {.name = "twelve coins",
     .file = COINS,
     .groups = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12},
     .step = 7,
     COIN_SCALES},
    {.name = "all coins", .file = COINS, .step = 16, COIN_SCALES},
    {.name = "all, denser", .file = COINS, .step = 4, COIN_SCALES},
};

const char *routeOf(int32_t nodes) { return nodes <= DIRECT_ORDER ? "direct" : "iterative"; }
