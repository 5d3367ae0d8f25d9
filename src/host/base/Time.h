// msecsNow: a monotonic clock in milliseconds, for timing (not the date).
#pragma once

double msecsNow();
