// Windows code page of "\ansicpgN" to the host's text-encoding value; 1280 when unknown.
#pragma once

unsigned int FindEncoding(long long codePage);
