#pragma once

/** How the program ends. */
enum ExitStatus : int { Done = 0, Failed = 1, WrongUsage = 2, NoBus = 3 };
