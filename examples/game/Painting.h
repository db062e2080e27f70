// How the game looks.
#pragma once

#include "Game.h"
#include "Screen.h"

void paint(const Game& game, Screen& screen);  // the whole picture; Screen::show() makes it seen
