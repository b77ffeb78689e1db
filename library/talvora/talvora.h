/* Zero-phase filters and the units of plug-in libraries, on arrays in memory.
 *
 * C99, and C++. Nothing here throws, prints or changes the locale, and nothing is kept between
 * calls but in the objects that the caller makes and destroys.
 *
 * Errors. Every function that can fail returns a talvora_status and takes a buffer of the
 * caller's, `error` of `error_size` bytes, last: on failure one complete sentence stands in it in
 * UTF-8, cut at the end of a character where it does not fit, always ended by NUL. It may be NULL
 * with a size of 0. On success nothing is written there. A call that failed changed no array but
 * the output, of which the values are then undefined; in place, samples may be lost.
 *
 * Structures begin with `struct_size`, which the caller sets to sizeof the structure that he was
 * compiled with: members that a later version adds count as zero for who does not know them, and
 * are refused by an earlier library unless they are zero. A zero is the default of every member.
 *
 * A function that makes an object sets the caller's pointer to NULL when it fails; what it pointed
 * to before is not destroyed.
 *
 * Functions of the caller's that are called have to return. A thread that ends in one of them
 * (pthread_exit) unwinds the call, and trees are as they were, unless a plug-in library on the way
 * cannot be unwound. What leaves them by longjmp or as an exception has no defined result.
 *
 * Threads. Different objects may be used by different threads at once, one object by one thread at
 * a time. The functions on arrays may be called from any number of threads.
 *
 * Texts are UTF-8 and end with NUL.
 */
#ifndef TALVORA_TALVORA_H
#define TALVORA_TALVORA_H

#include <stddef.h>
#include <stdint.h>

#if defined(__GNUC__)
#define TALVORA_EXPORT __attribute__((visibility("default")))
#else
#define TALVORA_EXPORT
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Status -------------------------------------------------------------------------------- */

typedef int32_t talvora_status;
enum {
    TALVORA_OK = 0,
    TALVORA_INVALID_ARGUMENT = 1, /* the sentence says which, the value seen and what is allowed */
    TALVORA_OUT_OF_MEMORY = 2,
    TALVORA_STOPPED = 3,      /* the caller's function said so */
    TALVORA_NOT_FOUND = 4,    /* there is no such unit, set, attribute or parameter */
    TALVORA_PLUGIN_ERROR = 5, /* the library is none, or broke the interface */
    TALVORA_UNIT_FAILED = 6,  /* the unit said so; its messages say why */
    TALVORA_GUARDED = 7,      /* the result would mislead; the sentence names the guard */
    TALVORA_FILE_ERROR = 8,   /* a file could not be read or written */
    TALVORA_INTERNAL_ERROR = 9
};

/* "1.2.3"; static. */
TALVORA_EXPORT const char* talvora_version(void);

/* Asked now and then, from the thread that made the call, also within long lines: anything but 0
 * ends it with TALVORA_STOPPED. */
typedef int32_t (*talvora_should_stop)(void* context);

/* ---- Arrays -------------------------------------------------------------------------------- */

typedef int32_t talvora_type;
enum { TALVORA_FLOAT32 = 1, TALVORA_FLOAT64 = 2 };

/* An n-dimensional array of the caller's, as NumPy has it. An input is only read; in its memory
 * samples may share a place, as with a stride of 0, in that of an output none may. Where an extent
 * is 0 there is no sample, and nothing is done, but that TALVORA_REFUSE_SHORT holds. */
typedef struct talvora_array {
    size_t struct_size;
    void* samples; /* the first one; each stands at a multiple of its size */
    const int64_t* extents;
    const int64_t* strides; /* in bytes, negative ones too; NULL: row-major without gaps */
    int32_t rank;           /* 1 to 64 */
    talvora_type type;
} talvora_array;

/* ---- Zero-phase filtering ------------------------------------------------------------------ */

typedef int32_t talvora_missing;
enum {
    /* Each run of valid samples is filtered by itself, as the unit does: samples between two
     * filtered runs stay, those before the first and after the last become NaN. */
    TALVORA_OMIT = 0,
    /* A line with a NaN in it becomes what the recurrence makes of it, as in SciPy: all NaN, for a
     * filter without feedback the NaN's neighbourhood. */
    TALVORA_PROPAGATE = 1
};

typedef int32_t talvora_short_lines;
enum {
    TALVORA_LEAVE_SHORT = 0, /* a line or run that is too short is given out as it is */
    TALVORA_REFUSE_SHORT = 1 /* TALVORA_INVALID_ARGUMENT, before any sample is written; only of
                                whole lines, those without a sample too */
};

/* Samples added at each end of a run, its own turned about its end point. A run is long enough
 * when it has more samples than that; with TALVORA_PAD_UNIT two more. */
typedef int64_t talvora_pad;
enum {
    TALVORA_PAD_UNIT = 0,   /* 3 (taps - 1), as the Butterworth unit has it */
    TALVORA_PAD_SCIPY = -1, /* 3 taps, the default of scipy.signal.filtfilt */
    TALVORA_PAD_NONE = -2   /* none; any number above 0 is taken as it is */
};

/* Valid samples in runs that are too short to be filtered, of lines that are long enough. The
 * caller sets `struct_size`. */
typedef struct talvora_short_runs {
    size_t struct_size;
    int64_t least_length; /* of a run that is filtered */
    int64_t left_samples; /* given out as they are, between filtered runs or in lines without one */
    int64_t erased_samples; /* made NaN, before the first and after the last filtered run */
} talvora_short_runs;

typedef struct talvora_filter_options {
    size_t struct_size;
    int32_t axis; /* along which lines run; -1 is the last. A zero is the first one. */
    talvora_missing missing;
    talvora_short_lines short_lines;
    int32_t workers; /* threads, lines parted among them; 0 is one, -1 as many as processors */
    talvora_pad pad;
    talvora_should_stop should_stop; /* NULL: never */
    void* context;                   /* given to it */
    talvora_short_runs* short_runs;  /* filled in on success, without TALVORA_OMIT with zeros; NULL:
                                        nobody asks */
} talvora_filter_options;

/* Filters every line of `in` forward and backward into `out`, which has the same extents and type
 * and is either the same array (in place) or shares no byte with it: it lies beside it, or samples
 * of the one between those of the other, as two parts of a table do. Where strides that are not
 * nested do not let that be told soon, it is refused, with a sentence that says so. The filter is
 * given by its numerator `b` and denominator `a`, from the highest power of z to the
 * constant term; `taps` is the greater of both counts. `options` NULL is all defaults.
 *
 * The results for float samples are those of the Butterworth unit, bit for bit, whatever the
 * processor and the number of workers; of double samples the same computation without rounding to
 * float. Refused: no coefficients, more than 1025, one that is not finite, a[0] = 0, a filter that
 * is not stable (a pole on the unit circle or outside).
 *
 * Memory beyond `out`: 5 MiB for each worker, with lines of which neighbouring samples are adjacent
 * in `out`; else the lines that are filtered at once besides, 16 at most for each worker. A filter
 * of more than some hundred taps takes 16 bytes times the square of them more.
 */
TALVORA_EXPORT talvora_status talvora_filtfilt(const double* b, size_t b_count, const double* a,
                                               size_t a_count, const talvora_array* in,
                                               const talvora_array* out,
                                               const talvora_filter_options* options, char* error,
                                               size_t error_size);

/* ---- Butterworth filters ------------------------------------------------------------------- */

typedef int32_t talvora_form;
enum { TALVORA_LOW_PASS = 0, TALVORA_HIGH_PASS = 1, TALVORA_BAND_PASS = 2, TALVORA_BAND_STOP = 3 };

/* The parameters of the Butterworth unit. */
typedef struct talvora_butterworth_design {
    size_t struct_size;
    talvora_form form;
    int32_t order;    /* over both passes, 2 or more; each pass has half of it */
    double rate;      /* Hz; rounded to a float, as the unit reads it */
    double cutoff;    /* Hz; of band forms the centre */
    double bandwidth; /* Hz, of band forms alone */
} talvora_butterworth_design;

/* Finds the cutoff, and of band forms the bandwidth, of the filter that is 3 dB down at the edges
 * after both passes: one edge in Hz, or two ascending ones of band forms, between 0 and half the
 * rate. Form, order and rate are the design's. */
TALVORA_EXPORT talvora_status talvora_find_cutoff(talvora_butterworth_design* design,
                                                  const double* edges, size_t edge_count,
                                                  char* error, size_t error_size);

/* The coefficients of one pass, into `b` and `a` of `capacity` doubles each; `count` receives how
 * many each has: order / 2 + 1, or 2 (order / 2) + 1 of band forms. With too small a capacity
 * nothing else is written and the status is TALVORA_INVALID_ARGUMENT. */
TALVORA_EXPORT talvora_status talvora_design_butterworth(const talvora_butterworth_design* design,
                                                         double* b, double* a, size_t capacity,
                                                         size_t* count, char* error,
                                                         size_t error_size);

/* talvora_filtfilt with the coefficients of the design. Refused, here and by
 * talvora_design_butterworth: edges that are not above 0 and below half the rate, moved for two
 * passes, and an order for which doubles do not hold the coefficients: with them the gain of both
 * passes, in the pass band or at its edges, is more than 1 % from that of the form, as the sentence
 * tells.
 */
TALVORA_EXPORT talvora_status talvora_butterworth(const talvora_butterworth_design* design,
                                                  const talvora_array* in, const talvora_array* out,
                                                  const talvora_filter_options* options,
                                                  char* error, size_t error_size);

/* ---- Gaps ---------------------------------------------------------------------------------- */

/* Puts missing samples (NaN) on the straight line between the valid ones beside them, in gaps of at
 * most `max_length` samples along the axis; 0 is no limit. Those before the first and after the
 * last valid sample stay. Of the options axis, workers and the stop count.
 * Float samples are those of the unit, bit for bit. `in` and `out` as above. Float lines of more
 * than 2^24 samples take two copies of one besides for each worker. */
TALVORA_EXPORT talvora_status talvora_fill_gaps(const talvora_array* in, const talvora_array* out,
                                                int64_t max_length,
                                                const talvora_filter_options* options, char* error,
                                                size_t error_size);

/* ---- Plug-in libraries --------------------------------------------------------------------- */

typedef struct talvora_plugin talvora_plugin;

/* Loads a plug-in library and checks its tables. A library from a stranger is a program from a
 * stranger: it runs in this process. `path` NULL is the one that came with this library. */
TALVORA_EXPORT talvora_status talvora_plugin_open(const char* path, talvora_plugin** plugin,
                                                  char* error, size_t error_size);
/* NULL is nothing. */
TALVORA_EXPORT void talvora_plugin_close(talvora_plugin* plugin);

/* Texts are good until the plug-in is closed; NULL where the unit has none. */
typedef struct talvora_unit {
    size_t struct_size;
    const char* name;       /* what follows the last dot of the identifier */
    const char* identifier; /* whole */
    const char* category;
    const char* version;
    const char* description;
    const char* date; /* of a legacy identifier */
    size_t parameter_count;
    const char* choices; /* what it asks for beyond what is required, such as "SourceSets or
                            SourceGroup has to be given"; NULL: nothing */
} talvora_unit;

typedef struct talvora_parameter {
    size_t struct_size;
    const char* key;
    const char* type;          /* "string", "list(string)", as units declare it */
    const char* default_value; /* as in a signature; NULL: none */
    int32_t is_required;
    /* What no signature says, as `talvora-host describe` has it; NULL: nothing, as of units that
     * came with another library. */
    const char* meaning; /* "the edge, of a band form the centre of the band" */
    const char* measure; /* what a number counts: "Hz" */
    const char* allowed; /* "above 0", or the words that it may be: "one of ..." */
} talvora_parameter;

TALVORA_EXPORT size_t talvora_plugin_unit_count(const talvora_plugin* plugin);
/* By position, from 0; the caller sets `struct_size`, which is also where writing ends. */
TALVORA_EXPORT talvora_status talvora_plugin_unit(const talvora_plugin* plugin, size_t index,
                                                  talvora_unit* unit, char* error,
                                                  size_t error_size);
TALVORA_EXPORT talvora_status talvora_plugin_parameter(const talvora_plugin* plugin,
                                                       size_t unit_index, size_t parameter_index,
                                                       talvora_parameter* parameter, char* error,
                                                       size_t error_size);
/* By its identifier, or by what follows its last dot. TALVORA_NOT_FOUND names the nearest. */
TALVORA_EXPORT talvora_status talvora_plugin_find_unit(const talvora_plugin* plugin,
                                                       const char* name, size_t* index, char* error,
                                                       size_t error_size);

/* ---- Trees --------------------------------------------------------------------------------- */

/* Groups and data sets of floats, in memory. Paths are names parted by '/'. */
typedef struct talvora_tree talvora_tree;

TALVORA_EXPORT talvora_status talvora_tree_create(talvora_tree** tree, char* error,
                                                  size_t error_size);
TALVORA_EXPORT void talvora_tree_destroy(talvora_tree* tree);

/* Groups on the way are made too. */
TALVORA_EXPORT talvora_status talvora_tree_add_group(talvora_tree* tree, const char* path,
                                                     char* error, size_t error_size);

/* A data set of the extents of an array. Samples that are row-major floats are borrowed: they have
 * to stay, and as they are, until the tree is destroyed, and are never written to; what a unit
 * changes it changes in a copy that the tree makes then. Others are copied at once, doubles as the
 * nearest floats; a finite one that is beyond them is refused. */
TALVORA_EXPORT talvora_status talvora_tree_add_set(talvora_tree* tree, const char* path,
                                                   const talvora_array* array, char* error,
                                                   size_t error_size);

typedef int32_t talvora_kind;
enum { TALVORA_GROUP = 1, TALVORA_SET = 2 };

/* All objects but the root, groups before what is in them, by name. Anything but 0 from the
 * caller's function ends the walk with TALVORA_STOPPED. */
typedef int32_t (*talvora_visit_object)(void* context, const char* path, talvora_kind kind);
TALVORA_EXPORT talvora_status talvora_tree_visit(talvora_tree* tree, talvora_visit_object visit,
                                                 void* context, char* error, size_t error_size);

/* A set as it stands, row-major floats. Its memory is the tree's (or the caller's own, where it was
 * borrowed and nothing changed it), good until the tree is changed, run on or destroyed. The caller
 * sets `struct_size`. */
TALVORA_EXPORT talvora_status talvora_tree_get_set(talvora_tree* tree, const char* path,
                                                   talvora_array* array, char* error,
                                                   size_t error_size);

/* Whether the last good run on this tree wrote samples or attributes of a set, changed its extents,
 * or made it. */
TALVORA_EXPORT talvora_status talvora_tree_was_written(talvora_tree* tree, const char* path,
                                                       int32_t* was_written, char* error,
                                                       size_t error_size);

/* Attributes: whole numbers, numbers or texts; one value (rank 0) or an array of them. The rate of
 * a set is its attribute "SampleRate", a number in Hz; that of a group is a hint for some units.
 * The history of runs is in attributes of the root whose names begin with "talvora_history". */
typedef int32_t talvora_attribute_type;
enum { TALVORA_INTEGERS = 1, TALVORA_NUMBERS = 2, TALVORA_TEXTS = 3, TALVORA_FLOAT_NUMBERS = 4 };

typedef struct talvora_attribute {
    size_t struct_size;
    talvora_attribute_type type;
    int32_t rank; /* 0: one value */
    const int64_t* extents;
    const int64_t* integers; /* the one of these that the type names */
    const double* numbers;   /* of TALVORA_FLOAT_NUMBERS too, one value, stored as a float */
    const char* const* texts;
} talvora_attribute;

/* An empty path is the root. Replaces one of the same name. */
TALVORA_EXPORT talvora_status talvora_tree_set_attribute(talvora_tree* tree, const char* path,
                                                         const char* name,
                                                         const talvora_attribute* attribute,
                                                         char* error, size_t error_size);
/* What it points to is the tree's, good until the tree is changed, run on, asked for another
 * attribute or destroyed. */
TALVORA_EXPORT talvora_status talvora_tree_get_attribute(talvora_tree* tree, const char* path,
                                                         const char* name,
                                                         talvora_attribute* attribute, char* error,
                                                         size_t error_size);
typedef int32_t (*talvora_visit_name)(void* context, const char* name);
TALVORA_EXPORT talvora_status talvora_tree_visit_attributes(talvora_tree* tree, const char* path,
                                                            talvora_visit_name visit, void* context,
                                                            char* error, size_t error_size);

/* ---- Files --------------------------------------------------------------------------------- */

/* A tree of the groups, data sets and attributes of an HDF5 file, samples copied into memory. What
 * is no group or data set of real numbers is left out, and so are soft links and further names of
 * an object; `tell` (may be NULL) receives a sentence for each: a warning where it may be a signal,
 * or names one. */
typedef void (*talvora_tell)(void* context, int32_t level, const char* text);
TALVORA_EXPORT talvora_status talvora_tree_read(const char* file, talvora_tree** tree,
                                                talvora_tell tell, void* context, char* error,
                                                size_t error_size);

/* Writes the tree to a new HDF5 file, which appears whole or not at all. A file of that name is
 * refused, or with `replace` replaced; its owner, group, mode, access list and extended attributes
 * pass to the new one as far as this process may give them, never with more rights for anybody.
 * Nothing is told of what it may not give. */
TALVORA_EXPORT talvora_status talvora_tree_write(talvora_tree* tree, const char* file,
                                                 int32_t replace, char* error, size_t error_size);

/* Tells a warning for each set whose signal the 32-bit floats of the tree do not hold: of doubles
 * that were added, or of sets of other types that were read, and that no run has taken since. A run
 * refuses them (guard "narrowing"), a file is written without a word. */
TALVORA_EXPORT talvora_status talvora_tree_tell_narrowed(const talvora_tree* tree,
                                                         talvora_tell tell, void* context,
                                                         char* error, size_t error_size);

/* ---- Running units ------------------------------------------------------------------------- */

enum { TALVORA_ERROR = 0, TALVORA_WARNING = 1, TALVORA_INFO = 2 };

typedef struct talvora_run_options {
    size_t struct_size;
    const char* const* accepted_guards; /* names; see talvora_guard_name */
    size_t accepted_guard_count;
    talvora_tell tell;               /* messages of the unit and of the guards as they come, with
                                        TALVORA_ERROR, TALVORA_WARNING or TALVORA_INFO; NULL: none */
    talvora_should_stop should_stop; /* asked whenever the unit reads or writes samples */
    void* context;                   /* given to both */
} talvora_run_options;

/* Runs a unit on the tree. Parameters are words as in a terminal: "Key=Value", a list by its key
 * repeated. When the call fails, whatever the reason, the tree is as it was. */
TALVORA_EXPORT talvora_status talvora_run(const talvora_plugin* plugin, size_t unit_index,
                                          talvora_tree* tree, const char* const* parameters,
                                          size_t parameter_count,
                                          const talvora_run_options* options, char* error,
                                          size_t error_size);

/* The guards that a caller may accept, from 0; NULL beyond the last. Static. */
TALVORA_EXPORT const char* talvora_guard_name(size_t index);
/* One sentence; NULL for no guard's name. */
TALVORA_EXPORT const char* talvora_guard_description(const char* name);

#ifdef __cplusplus
}
#endif

#endif
