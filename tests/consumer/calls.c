#include "calls.h"

#include "ruvo/algo/algo.h"
#include "ruvo/base/l3.h"
#include "ruvo/base/string.h"

int ruvo_consumer_calls(void) {
  ruvo_l3_addr_st addr;
  char text[46];
  if (ruvo_strlen("libruvobase") != 11) return 1;
  if (ruvo_strlen(0) != 0) return 2;
  /* The canonical text folds the first of two equal zero runs. */
  if (ruvo_l3_string_to_addr("2001:DB8:0:0:1:0:0:1", &addr) != 0) return 3;
  if (ruvo_l3_addr_to_string(&addr, text, sizeof text) != 17) return 4;
  if (ruvo_strcmp(text, "2001:db8::1:0:0:1") != 0) return 5;
  if (ruvo_l3_string_to_addr("10.0.0", &addr) != -1) return 6;
  if (ruvo_l3_string_to_addr("10.1.2.3", &addr) != 0) return 7;
  if (ruvo_l3_addr_to_string(&addr, text, 8) != -1) return 8; /* one too short */
  if (ruvo_l3_addr_to_string(&addr, text, 9) != 8) return 9;
  if (ruvo_strcmp(text, "10.1.2.3") != 0) return 10;
  /* FNV-1a 64: the offset basis for no bytes, and the published "a". */
  if (ruvo_str_hash_a("") != 0xcbf29ce484222325ull) return 11;
  if (ruvo_str_hash_a("a") != 0xaf63dc4c8601ec8cull) return 12;
  return 0;
}
