/* Tether: expressions over a link.
 *
 * A link carries whole expressions between a host and a library, or keeps them in memory (a loopback). An expression
 * is an integer, a real, a string, a symbol, or a function: a head and a fixed number of argument expressions.
 * A list is a function with the head "List".
 *
 * Conventions
 *   - A function that returns `int` gives non-zero for success and 0 for failure, unless it says otherwise.
 *   - A failure leaves an error code on the link (TTError). Until TTClearError, every further put, get, transfer and
 *     packet function on that link fails and puts or consumes nothing.
 *   - A get function that fails consumes nothing.
 *   - What a get function hands out belongs to the caller until it is given to the release function of the same name.
 *   - Every function takes a null link: it is an error or ignored, never undefined behaviour.
 *   - Nothing is locked: the links of one environment may be used by one thread at a time.
 */
#ifndef VELMORA_TETHER_H
#define VELMORA_TETHER_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define TT_API __attribute__((visibility("default")))
#else
#define TT_API
#endif

typedef struct TTEnvironmentRecord* TTEnvironment; /* links are opened in one */
typedef struct TTLinkRecord* TTLink;               /* one end of a link, or a loopback */
typedef struct TTMarkRecord* TTMark;               /* a remembered reading position */

/* Error codes (TTError). */
enum {
    TTE_OK = 0,
    TTE_NULL = 1,     /* null link or null pointer */
    TTE_MEMORY = 2,   /* no memory */
    TTE_EMPTY = 3,    /* nothing to read, or only a part of an expression */
    TTE_TYPE = 4,     /* the next expression is of another type */
    TTE_RANGE = 5,    /* the number does not fit the type asked for */
    TTE_SEQUENCE = 6, /* a packet that ends inside an expression, or a negative count */
    TTE_ENCODING = 7, /* text that is not well formed, or does not fit the encoding */
    TTE_HEAD = 8,     /* another head or symbol than the one tested for */
    TTE_SHAPE = 9,    /* nested lists that are not a rectangular array */
    TTE_REFUSED = 10, /* refused by the fault hook */
    TTE_LINK = 11     /* impossible on this kind of link */
};

/* Types of the next expression (TTGetNext). */
enum { TTTK_ERROR = 0, TTTK_FUNCTION = 1, TTTK_SYMBOL = 2, TTTK_STRING = 3, TTTK_INTEGER = 4, TTTK_REAL = 5 };

/* Packets (TTNextPacket). */
enum { TTP_ILLEGAL = 0, TTP_RETURN = 3, TTP_EVALUATE = 13 };

/* ---- Environments: the host's side ------------------------------------------------------------------------- */

/* Makes an environment; null when there is no memory. */
TT_API TTEnvironment TTInitialize(void);

/* Ends an environment. Closes the links that are still open; their handles must not be used again. */
TT_API void TTDeinitialize(TTEnvironment environment);

/* Called before each link function that can fail, with the function's name. A non-zero answer makes that call fail
 * with TTE_REFUSED (TTLoopbackOpen and TTOpenPair: with that code in their out parameter). */
typedef int (*TTFaultHook)(const char* function, void* context);

/* Sets the hook of an environment; a null hook removes it. */
TT_API void TTSetFaultHook(TTEnvironment environment, TTFaultHook hook, void* context);

/* The number of open links and marks; the number of buffers that were handed out and not yet released. */
TT_API int TTOpenLinkCount(TTEnvironment environment);
TT_API int TTOpenBufferCount(TTEnvironment environment);

/* ---- Links ------------------------------------------------------------------------------------------------- */

/* Opens a loopback: what is put on it is read from it, first in, first out. `*error` becomes 0 or an error code; on
 * error the result is null. */
TT_API TTLink TTLoopbackOpen(TTEnvironment environment, int* error);

/* Opens two ends that are joined by a queue in each direction. `*error` becomes 0 or an error code. */
TT_API int TTOpenPair(TTEnvironment environment, TTLink* first, TTLink* second, int* error);

/* The environment that the link was opened in; null for a null link. */
TT_API TTEnvironment TTLinkEnvironment(TTLink link);

/* Closes a link and drops its marks and what is unread on it. The other end of a pair stays open and can read what was
 * put before. A null link is ignored. */
TT_API void TTClose(TTLink link);

/* Drops everything unread or half written in both directions and clears the error. Marks move to the end. */
TT_API int TTReset(TTLink link);

/* Error code of the link, TTE_NULL for a null link. */
TT_API int TTError(TTLink link);
/* A sentence for the error code, null when there is none; release it with TTReleaseErrorMessage. */
TT_API const char* TTErrorMessage(TTLink link);
TT_API void TTReleaseErrorMessage(TTLink link, const char* message);
/* Clears the error, so that the link can be used again. */
TT_API int TTClearError(TTLink link);

/* ---- Marks ------------------------------------------------------------------------------------------------- */

/* Remembers the reading position; what is read from here on is kept until the mark is destroyed. Null on failure. */
TT_API TTMark TTCreateMark(TTLink link);
/* Goes back to the mark and from there `skip` whole expressions forward. Returns the mark, or null on failure. */
TT_API TTMark TTSeekMark(TTLink link, TTMark mark, int skip);
TT_API void TTDestroyMark(TTLink link, TTMark mark);

/* ---- Transfer ---------------------------------------------------------------------------------------------- */

/* Moves the next whole expression of `source` to `target`. An error of the source is left on the source. */
TT_API int TTTransferExpression(TTLink target, TTLink source);
/* Moves all expressions of a loopback, in order. An empty loopback is a success; a half-written one is refused. */
TT_API int TTTransferToEndOfLoopbackLink(TTLink target, TTLink loopback);

/* ---- Packets ----------------------------------------------------------------------------------------------- */

/* Reads the head of the next packet and returns its number; 0, with an error on the link, for anything else. */
TT_API int TTNextPacket(TTLink link);
/* Skips the rest of the packet that is being read. Nothing to skip is a success. */
TT_API int TTNewPacket(TTLink link);
/* Marks the end of the packet that is being written. */
TT_API int TTEndPacket(TTLink link);
/* Makes what was put visible to the other end. Both ends share memory here, so it is always visible at once. */
TT_API int TTFlush(TTLink link);

/* ---- Functions and symbols --------------------------------------------------------------------------------- */

/* Type of the next expression, without consuming it; the end of a packet is skipped. */
TT_API int TTGetNext(TTLink link);

/* Starts a function; `argumentCount` whole expressions have to follow. A negative count is TTE_SEQUENCE. */
TT_API int TTPutFunction(TTLink link, const char* head, int argumentCount);
TT_API int TTPutSymbol(TTLink link, const char* name);

/* Head (UTF-8, released with TTReleaseSymbol) and number of arguments. */
TT_API int TTGetFunction(TTLink link, const char** head, int* argumentCount);
TT_API int TTGetSymbol(TTLink link, const char** name);
TT_API void TTReleaseSymbol(TTLink link, const char* name);

/* Consumes a function head if it is `head`; otherwise fails with TTE_HEAD. */
TT_API int TTTestHead(TTLink link, const char* head, int* argumentCount);
/* Consumes a symbol if it is `name`; otherwise fails with TTE_HEAD. */
TT_API int TTTestSymbol(TTLink link, const char* name);

/* ---- Numbers ----------------------------------------------------------------------------------------------- */

/* For each type: one number; a list of numbers; an array of `depth` dimensions, slowest first.
 *
 * `heads` names the function at each level of an array; null, or null for one level, means "List". On reading, all
 * functions of one level must have the same head. Integers are kept in 64 bits and reals in double. A get function of a
 * narrower integer fails with TTE_RANGE for a value that does not fit; one of a narrower real rounds. An integer can be
 * read as a real, but a real as an integer is TTE_TYPE. Integer8 is unsigned (0 to 255), the others are signed. */
#define TT_NUMBER_FUNCTIONS(Name, Type)                                                                                \
    TT_API int TTPut##Name(TTLink link, Type value);                                                                   \
    TT_API int TTGet##Name(TTLink link, Type* value);                                                                  \
    TT_API int TTPut##Name##List(TTLink link, const Type* data, int length);                                           \
    TT_API int TTGet##Name##List(TTLink link, const Type** data, int* length);                                         \
    TT_API void TTRelease##Name##List(TTLink link, const Type* data, int length);                                      \
    TT_API int TTPut##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads,      \
                                  int depth);                                                                          \
    TT_API int TTGet##Name##Array(TTLink link, const Type** data, const int** dimensions, const char* const** heads,   \
                                  int* depth);                                                                         \
    TT_API void TTRelease##Name##Array(TTLink link, const Type* data, const int* dimensions, const char* const* heads, \
                                       int depth);

TT_NUMBER_FUNCTIONS(Integer8, unsigned char)
TT_NUMBER_FUNCTIONS(Integer16, short)
TT_NUMBER_FUNCTIONS(Integer32, int)
TT_NUMBER_FUNCTIONS(Integer64, long long)
TT_NUMBER_FUNCTIONS(Real32, float)
TT_NUMBER_FUNCTIONS(Real64, double)

/* ---- Text -------------------------------------------------------------------------------------------------- */

/* Text is kept as Unicode. A put function fails with TTE_ENCODING for text that is not well formed: overlong forms,
 * lone surrogates, values beyond U+10FFFF. A get function fails with it for text that its encoding cannot hold. Lengths
 * count units of the encoding, not bytes and not characters; buffers handed out end with a zero unit that the length
 * does not count. There is no byte-order mark: units are in the machine's byte order.
 *
 *   (none)   UTF-8, ended by a zero byte
 *   Byte     one byte for each character, U+0000 to U+00FF
 *   UTF8     1 to 4 bytes for each character
 *   UTF16    1 or 2 units for each character
 *   UCS2     1 unit for each character, U+0000 to U+FFFF without the surrogates
 *   UTF32    1 unit for each character
 */
TT_API int TTPutString(TTLink link, const char* text);
TT_API int TTGetString(TTLink link, const char** text);
TT_API void TTReleaseString(TTLink link, const char* text);

#define TT_TEXT_FUNCTIONS(Name, Unit)                                                                                  \
    TT_API int TTPut##Name##String(TTLink link, const Unit* text, int length);                                         \
    TT_API int TTGet##Name##String(TTLink link, const Unit** text, int* length);                                       \
    TT_API void TTRelease##Name##String(TTLink link, const Unit* text, int length);

TT_TEXT_FUNCTIONS(Byte, unsigned char)
TT_TEXT_FUNCTIONS(UTF8, unsigned char)
TT_TEXT_FUNCTIONS(UTF16, uint16_t)
TT_TEXT_FUNCTIONS(UCS2, uint16_t)
TT_TEXT_FUNCTIONS(UTF32, uint32_t)

#ifdef __cplusplus
}
#endif

#endif
