/**
 * \file
 * ruvo/base/l3.h - layer-3 addresses: IPv4 and IPv6 in one 16-byte record,
 * their text forms, masks, ranges, folding and searching.
 *
 * A record carries no family field. It is IPv4 when its bytes 0 and 1 are
 * FF BF (the mark); then the address sits in bytes 12 to 15, first octet in
 * byte 12, and bytes 4 to 11 are zero when this family made the record.
 * Otherwise it is IPv6, all 16 bytes in network order. IPv6 addresses that
 * begin FF BF therefore cannot be held: the parsers refuse them.
 *
 * Every record is in network form except where a call says "host form"
 * (made by ruvo_l3_addr_ntoh and ruvo_l3_addr_ntoh2, read only by
 * ruvo_l3_addr_binary_search). Nothing here allocates, locks or logs; the
 * caller owns every record and array.
 */
#ifndef RUVO_BASE_L3_H
#define RUVO_BASE_L3_H

#include "ruvo/base/defs.h"

RUVO_BEGIN_DECLS

#define RUVO_L3_AF_IPV4 2  /**< family of an IPv4 record */
#define RUVO_L3_AF_IPV6 23 /**< family of an IPv6 record, on every system */
#define RUVO_L3_AF_NONE 24 /**< ruvo_l3_string_type: text that is neither */

/** Word 0 of an IPv4 record, to be stored in network byte order; the family
 * test reads only its top 16 bits (bytes 0 and 1). */
#define RUVO_L3_IPV4_MARK 0xFFBF0000u

/** Layout is part of the interface: 16 bytes, seen as bytes, 16-bit words or
 * 32-bit words (word i is bytes 4i to 4i + 3). */
typedef union ruvo_l3_addr_st {
  uint8_t u8[16];   /**< the 16 bytes */
  uint16_t u16[8];  /**< the same as eight 16-bit words */
  uint32_t u32[4];  /**< the same as four 32-bit words */
} ruvo_l3_addr_st;

/** A closed interval of one family: low <= high. Layout is part of the
 * interface. */
typedef struct ruvo_l3_range_st {
  ruvo_l3_addr_st low;  /**< first address, inclusive */
  ruvo_l3_addr_st high; /**< last address, inclusive */
} ruvo_l3_range_st;

/* ---- single addresses ---- */

/** Within a family 1, 0 or -1 for `a` above, equal to or below `b` (IPv6 as
 * one 128-bit big-endian number). Across families 3 when `a` is the IPv6 one
 * and -3 when `a` is the IPv4 one, so IPv4 sorts first. -2 if either is null. */
RUVO_API int32_t ruvo_l3_addr_cmp(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b) RUVO_NOEXCEPT;

/**@{*/
/** Steps `addr` up (inc) or down (dec) by one, carrying across words. 0; -1
 * when `addr` is the top (inc) or all-zero (dec) address, which stays; -3 for
 * null. An IPv6 address that steps into the FF BF block reads as IPv4
 * afterwards: the record cannot tell them apart. */
RUVO_API int32_t ruvo_l3_addr_inc(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_addr_dec(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
/**@}*/

/** 0 if low <= addr <= high; -1 if below low; 1 if above high; -2 if the
 * family of `addr` differs from that of low or of high; -3 for null. */
RUVO_API int32_t ruvo_l3_addr_in_range2(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *low,
                                        const ruvo_l3_addr_st *high) RUVO_NOEXCEPT;

/** The same against a range; only the families of `addr` and low are
 * compared. */
RUVO_API int32_t ruvo_l3_addr_in_range(const ruvo_l3_addr_st *addr,
                                       const ruvo_l3_range_st *range) RUVO_NOEXCEPT;

/** 1 if `b` is `a` + 1; 0 if not, also when `a` is the top address; -1 if
 * either is null; -2 if the families differ. */
RUVO_API int32_t ruvo_l3_is_addr_close_to(const ruvo_l3_addr_st *a,
                                          const ruvo_l3_addr_st *b) RUVO_NOEXCEPT;

/** 1 if the first `prefix` bits of `a` and `b` are equal (always for 0); 0 if
 * they differ, the families differ, a pointer is null, or the length passes
 * the family's width (32 or 128). */
RUVO_API int32_t ruvo_l3_addr_prefix_equal(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b,
                                           uint32_t prefix) RUVO_NOEXCEPT;

/** 1 if all three are IPv4, `mask` is a valid mask and `a` and `b` agree on
 * its bits; else 0. */
RUVO_API int32_t ruvo_l3_ipv4_addr_mask_equal(const ruvo_l3_addr_st *a, const ruvo_l3_addr_st *b,
                                              const ruvo_l3_addr_st *mask) RUVO_NOEXCEPT;

/* ---- masks ---- */

/**@{*/
/** `out`, holding `addr` with its address bits ANDed with the mask (and) or
 * ORed with the mask's inverse (or_not). Null if a pointer is null, the mask
 * is invalid or the families differ; `out` is then untouched. `out` may be
 * `addr`. */
RUVO_API ruvo_l3_addr_st *ruvo_l3_addr_and_mask(const ruvo_l3_addr_st *addr, const ruvo_l3_addr_st *mask,
                                                ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
RUVO_API ruvo_l3_addr_st *ruvo_l3_addr_or_not_mask(const ruvo_l3_addr_st *addr,
                                                   const ruvo_l3_addr_st *mask,
                                                   ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
/**@}*/

/** 1 if the address bits are ones then zeros from the top (all zero and all
 * one included); 0 if not or null. */
RUVO_API int32_t ruvo_l3_is_mask_valid(const ruvo_l3_addr_st *mask) RUVO_NOEXCEPT;

/** 0 with the mask's number of leading 1 bits in *prefix; -1 if a pointer is
 * null or the mask is invalid. */
RUVO_API int32_t ruvo_l3_get_mask_prefix(const ruvo_l3_addr_st *mask, uint32_t *prefix) RUVO_NOEXCEPT;

/**@{*/
/** 0 with the mask of `prefix` leading ones in `out` (a whole fresh record);
 * -4 (IPv4) or -6 (IPv6) if the length is outside 0..32 or 0..128; -1 if
 * `out` is null. */
RUVO_API int32_t ruvo_l3_get_ipv4_mask(int32_t prefix, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_get_ipv6_mask(int32_t prefix, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
/**@}*/

/* ---- kinds of address ---- */

/**@{*/
/** 1 if the address bits are all zero (zero) or all one (all_set); 0 if not
 * or null. */
RUVO_API int32_t ruvo_l3_is_addr_zero(const ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_is_addr_all_set(const ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
/**@}*/

/** Writes a whole record: IPv4 for family 2, IPv6 for any other family, with
 * every address bit 1 when `one` is non-zero, else 0. Null does nothing. */
RUVO_API void ruvo_l3_gen_addr_all_zero_one(ruvo_l3_addr_st *out, uint8_t family, uint8_t one) RUVO_NOEXCEPT;

/** 1 if `addr` is IPv6 with bytes 0 to 11 zero and word 3 not the value 1
 * (so :: is compatible and ::1 is not); else 0. */
RUVO_API int32_t ruvo_l3_is_ipv6_addr_compatible(const ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;

/** 1 if `addr` is IPv6 with bytes 0 to 9 zero and bytes 10, 11 FF FF; else 0. */
RUVO_API int32_t ruvo_l3_is_ipv6_addr_mapping(const ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;

/**@{*/
/** In place: an IPv4 record becomes the IPv6 compatible ("::a.b.c.d") or
 * mapped ("::ffff:a.b.c.d") address. 0; -1 if `addr` is not IPv4 or null. */
RUVO_API int32_t ruvo_l3_ipv4_to_ipv6_compatible(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_ipv4_to_ipv6_mapping(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
/**@}*/

/** In place: a mapped or compatible IPv6 address becomes IPv4 by writing the
 * mark into word 0 and nothing else (words 1 and 2 keep what they held). 0;
 * -1 for any other address or null. */
RUVO_API int32_t ruvo_l3_ipv6_to_ipv4_special(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;

/* ---- byte order ---- */

/** Host form of `addr` into `out`: IPv4 keeps the mark, zeroes words 1 and 2
 * and holds the address in word 3 as a host integer; IPv6 has its 16 bytes
 * reversed. 0; -1 if a pointer is null; -3 if the result reads as IPv4
 * though the source was IPv6 (an address ending BF FF), `out` written all
 * the same. `out` may be `addr`. */
RUVO_API int32_t ruvo_l3_addr_ntoh(const ruvo_l3_addr_st *addr, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;

/** The same in place, leaving words 1 and 2 of an IPv4 record as they are. */
RUVO_API int32_t ruvo_l3_addr_ntoh2(ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;

/* ---- text forms ---- */

/**@{*/
/** Strict parsers: dotted decimal (leading zeros allowed, never octal) or the
 * IPv6 text (at most four hex digits a group, one "::" standing for at least
 * one group, an optional dotted tail), with no blanks. 0 with the record in
 * `out`; -1 if the text is no address (or, for a mask, no valid mask) or a
 * pointer is null, `out` then untouched. */
RUVO_API int32_t ruvo_l3_string_to_addr(const char *text, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_string_to_mask(const char *text, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;
/**@}*/

/** RUVO_L3_AF_IPV4, RUVO_L3_AF_IPV6 or RUVO_L3_AF_NONE (also for null). */
RUVO_API int32_t ruvo_l3_string_type(const char *text) RUVO_NOEXCEPT;

/** The mask of "address/length" or "address/mask" text (blanks around either
 * part allowed). 0 with the mask in `out`, else:
 *   -1 the text has no '/';
 *   -2 the text is 128 bytes or longer, or the mask part is no valid mask;
 *   -3 the address in front of a length is no address;
 *   -4 the length is no whole non-negative number, or above 32 for IPv4;
 *   -5 a null argument;
 *   -6 the length is above 128 for IPv6.
 * The address in front of a mask is not looked at. */
RUVO_API int32_t ruvo_l3_get_string_mask(const char *text, ruvo_l3_addr_st *out) RUVO_NOEXCEPT;

/**@{*/
/** Writes the address as text: dotted decimal, or the canonical IPv6 text
 * (lower case, the longest run of two or more zero groups as "::", the first
 * of equal runs, and "::a.b.c.d" and "::ffff:a.b.c.d" for embedded IPv4). The
 * length without the terminator; -1 if the text and its terminator do not
 * fit in `size` or a pointer is null, the buffer then untouched. The two
 * names are one operation. At most 45 characters. */
RUVO_API int32_t ruvo_l3_addr_to_string(const ruvo_l3_addr_st *addr, char *buf, uint32_t size) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_mask_to_string(const ruvo_l3_addr_st *mask, char *buf, uint32_t size) RUVO_NOEXCEPT;
/**@}*/

/**@{*/
/** The text above on standard output with no line end; "Invalid L3 Address"
 * for null. */
RUVO_API void ruvo_l3_print_addr(const ruvo_l3_addr_st *addr) RUVO_NOEXCEPT;
RUVO_API void ruvo_l3_print_mask(const ruvo_l3_addr_st *mask) RUVO_NOEXCEPT;
/**@}*/

/** Six bytes of "xx:xx:xx:xx:xx:xx" or "xx-xx-xx-xx-xx-xx" (two hex digits of
 * either case a byte, one kind of separator) into mac[0..5]. 0 as soon as the
 * sixth byte is read, whatever follows; -1 otherwise, with the bytes read
 * before the failure stored. */
RUVO_API int32_t ruvo_string_to_macaddr(const char *text, uint8_t *mac) RUVO_NOEXCEPT;

/* ---- ranges ---- */

/** 0 with `range` set to low..high; -1 if the families differ or a pointer is
 * null; -2 if low is above high. The range is written only on 0. */
RUVO_API int32_t ruvo_l3_set_range(ruvo_l3_range_st *range, const ruvo_l3_addr_st *low,
                                   const ruvo_l3_addr_st *high) RUVO_NOEXCEPT;

/** 1 if both ends compare equal; else 0 (also for null). */
RUVO_API int32_t ruvo_l3_is_range_equal(const ruvo_l3_range_st *a, const ruvo_l3_range_st *b) RUVO_NOEXCEPT;

/** The range `addr` covers under `mask`: low with the bits outside the mask
 * cleared, high with them set. 0; -10 if the mask is invalid, a pointer is
 * null, or the high end would begin FF BF (which no record can hold); -9 if
 * the families of `addr` and `mask` differ. `range` is written only on 0. */
RUVO_API int32_t ruvo_l3_get_range_from_mask(ruvo_l3_range_st *range, const ruvo_l3_addr_st *addr,
                                             const ruvo_l3_addr_st *mask) RUVO_NOEXCEPT;

/** Parses "a", "a/length", "a/mask" or "low-high" (blanks around the parts
 * allowed) into `range`. On success the form, IPv4 odd and IPv6 even:
 * 1/2 one address, 3/4 with a prefix length, 5/6 with a mask, 7/8 low-high.
 * On failure, with `range` untouched:
 *   -1 the text is 128 bytes or longer, or a pointer is null;
 *   -3 an address of a one-address or low-high text is no address;
 *   -4 low and high differ in family;   -5 low is above high;
 *   -6 the prefix length is no whole non-negative number, is too large,
 *      or makes a high end that begins FF BF (ff80::/10 and the like);
 *   -7 the address in front of a prefix length is no address;
 *   -8 the address or mask of an address/mask text is no address;
 *   -9 address and mask differ in family; -10 the mask is invalid (or
 *      makes a high end that begins FF BF).
 * With a prefix length, only words 0 and 3 of IPv4 ends are written. */
RUVO_API int32_t ruvo_l3_string_to_range(const char *text, ruvo_l3_range_st *range) RUVO_NOEXCEPT;

/** "low-high" as address text, whatever the range came from. The length
 * without the terminator; -1 if it does not fit in `size` or a pointer is
 * null, the buffer then untouched. */
RUVO_API int32_t ruvo_l3_range_to_string(const ruvo_l3_range_st *range, char *buf, uint32_t size) RUVO_NOEXCEPT;

/** Sorts in place by low: order 0 ascending (IPv4 before IPv6), order 1
 * descending; any other order leaves the array as it is. Ranges with equal
 * low keep no promised order. 0; -1 for a null array with a count. No
 * allocation; O(n log n) whatever the input. */
RUVO_API int32_t ruvo_l3_range_sort(ruvo_l3_range_st *ranges, uint32_t count, int32_t order) RUVO_NOEXCEPT;

/** Folds the array in place into the fewest disjoint ranges, ascending, IPv4
 * before IPv6: overlapping, contained and adjacent ranges (no address
 * between them) of one family become one. *count is updated; the entries
 * behind it are left as they stand. 0; -1 if a pointer is null; -1 or -2
 * (as ruvo_l3_set_range) if a range has mixed families or low above high,
 * found before anything moves. */
RUVO_API int32_t ruvo_l3_range_trim(ruvo_l3_range_st *ranges, uint32_t *count) RUVO_NOEXCEPT;

/**@{*/
/** 1 if a range of the array holds `addr`, else 0 (also for null or a count
 * of 0 or less). The array must be as ruvo_l3_range_trim leaves it. The net
 * form takes network-form records; the other takes `addr` and every record
 * of the array in host form. */
RUVO_API int32_t ruvo_l3_net_addr_binary_search(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *ranges,
                                                int32_t count) RUVO_NOEXCEPT;
RUVO_API int32_t ruvo_l3_addr_binary_search(const ruvo_l3_addr_st *addr, const ruvo_l3_range_st *ranges,
                                            int32_t count) RUVO_NOEXCEPT;
/**@}*/

RUVO_END_DECLS

#endif /* RUVO_BASE_L3_H */
