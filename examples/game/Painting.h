// How the game looks.
#pragma once

#include "Game.h"
#include "Screen.h"
#include "Ticker.h"

void paint(const Game& game, Screen& screen);        // the whole picture; Screen::show() makes it seen
void paint(const Ticker& reported, Screen& screen);  // over it, in a corner
