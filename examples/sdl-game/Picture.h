// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "Game.h"

/// Draws the game with OpenGL 2.1 into a window of this size, in pixels.
void drawGame(const Game& game, double time, int width, int height);
