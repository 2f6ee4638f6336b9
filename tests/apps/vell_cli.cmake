# End-to-end checks of the command-line host: exit codes, messages and the
# files it writes. Run by CTest with -DVELL=... -DSOURCE_DIR=... -DWORK_DIR=...
cmake_policy(VERSION 3.25)
file(REMOVE_RECURSE ${WORK_DIR})
file(MAKE_DIRECTORY ${WORK_DIR})
set(ENV{XDG_DATA_HOME} ${WORK_DIR}/xdg-data)
set(ENV{XDG_CACHE_HOME} ${WORK_DIR}/xdg-cache)
file(MAKE_DIRECTORY ${WORK_DIR}/xdg-data ${WORK_DIR}/xdg-cache)

# Runs vell in ${WORK_DIR} and checks what every run must do: exit with the
# code expected, write to standard output only when asked for a report (info,
# help, the version) or data (-o -), and leave in the working folder no file
# but those its arguments name.
function(run_vell expected_code)
    file(GLOB before LIST_DIRECTORIES true RELATIVE ${WORK_DIR} ${WORK_DIR}/* ${WORK_DIR}/.*)
    execute_process(COMMAND ${VELL} ${ARGN} WORKING_DIRECTORY ${WORK_DIR}
        RESULT_VARIABLE code OUTPUT_VARIABLE out ERROR_VARIABLE err)
    # "interrupted": ended by SIGINT, which CMake reports in words.
    if(expected_code STREQUAL "interrupted" AND code MATCHES "[Ii]nterrupt")
        set(code interrupted)
    endif()
    if(NOT code STREQUAL "${expected_code}")
        message(FATAL_ERROR "vell ${ARGN}: exit ${code}, expected ${expected_code}\nstdout:\n${out}\nstderr:\n${err}")
    endif()
    set(reports info --help -h --version -)
    set(asked FALSE)
    foreach(arg IN LISTS ARGN)
        if(arg IN_LIST reports)
            set(asked TRUE)
        endif()
    endforeach()
    if(NOT asked AND NOT out STREQUAL "")
        message(FATAL_ERROR "vell ${ARGN} wrote to standard output:\n${out}")
    endif()
    file(GLOB after LIST_DIRECTORIES true RELATIVE ${WORK_DIR} ${WORK_DIR}/* ${WORK_DIR}/.*)
    foreach(name IN LISTS after)
        if(NOT name IN_LIST before AND NOT name IN_LIST ARGN AND NOT "${WORK_DIR}/${name}" IN_LIST ARGN)
            message(FATAL_ERROR "vell ${ARGN} left ${name} in the working folder")
        endif()
    endforeach()
    # Every command that gets past its arguments registers the command XML.
    if(err MATCHES "Critical Error|Parsing error")
        message(FATAL_ERROR "vell ${ARGN}: the command XML was not loaded\nstderr:\n${err}")
    endif()
    set(last_out "${out}" PARENT_SCOPE)
    set(last_err "${err}" PARENT_SCOPE)
endfunction()

function(expect_match text pattern)
    if(NOT text MATCHES "${pattern}")
        message(FATAL_ERROR "expected output matching '${pattern}', got:\n${text}")
    endif()
endfunction()

# run_vell, then the message standard error must match.
function(vell_says expected_code pattern)
    run_vell(${expected_code} ${ARGN})
    expect_match("${last_err}" "${pattern}")
    set(last_out "${last_out}" PARENT_SCOPE)
    set(last_err "${last_err}" PARENT_SCOPE)
endfunction()

function(expect_same_file a b)
    file(SHA256 ${a} ha)
    file(SHA256 ${b} hb)
    if(NOT ha STREQUAL hb)
        message(FATAL_ERROR "${a} and ${b} differ")
    endif()
endfunction()

# Usage and help; the main help names compose and every select step.
run_vell(0 --help)
foreach(said "Usage: vell COMMAND" "compose -o OUT.png" "--ellipse, --polygon, --grow and --mask" "with --feather")
    expect_match("${last_out}" "${said}")
endforeach()
run_vell(2)
vell_says(2 "unknown command 'frobnicate'" frobnicate)
run_vell(2 info extra)
vell_says(2 "unknown cipher mode 'shuffle'" cipher shuffle k in out)

# info prints folders and settings; without a display it has no GL context.
# Every other command runs with no display at all.
set(display "$ENV{DISPLAY}")
unset(ENV{DISPLAY})
run_vell(0 info)
expect_match("${last_out}" "application data: +.*/Vellorix")
expect_match("${last_out}" "image size limit: +7200 x 7200 pixels, 40 Mpixels")
expect_match("${last_out}" "vell's runs take: +65535 x 65535 pixels, [0-9]+ Mpixels on this path")
expect_match("${last_out}" "no GL context")
# The library's log keeps its file in vell's cache folder, and info says so.
expect_match("${last_out}" "library log: +${WORK_DIR}/xdg-cache/[^\n]*/ConsoleLog.txt\n")
string(REGEX MATCH "library log: +([^\n]*)" _ "${last_out}")
set(log_file ${CMAKE_MATCH_1})

# With a display it asks the driver. Not in sanitizer builds: the leak checker
# would report the GL driver's own allocations.
if(display AND NOT SANITIZE)
    set(ENV{DISPLAY} "${display}")
    run_vell(0 info)
    unset(ENV{DISPLAY})
    expect_match("${last_out}" "renderer: +[^\n]+")
    expect_match("${last_out}" "GL version: +[^\n]+ \\([1-9][.0-9]*\\)")
    expect_match("${last_out}" "max texture size: +[1-9][0-9]+ x [1-9][0-9]+")
    expect_match("${last_out}" "video memory: +free ")
    expect_match("${last_out}" "shader objects true, framebuffer objects true, OpenGL 1.5 true")
endif()

# The cipher round-trips any bytes; a missing key file is a failure.
file(WRITE ${WORK_DIR}/key.txt "a secret key")
file(WRITE ${WORK_DIR}/plain.txt "uniform sampler2D image;\nvoid main() {}\n")
run_vell(0 cipher encrypt ${WORK_DIR}/key.txt ${WORK_DIR}/plain.txt ${WORK_DIR}/cipher.bin)
file(SIZE ${WORK_DIR}/cipher.bin cipher_size)
if(NOT cipher_size EQUAL 48)
    message(FATAL_ERROR "41 bytes should encipher to 48, got ${cipher_size}")
endif()
run_vell(0 cipher decrypt ${WORK_DIR}/key.txt ${WORK_DIR}/cipher.bin ${WORK_DIR}/back.txt)
expect_same_file(${WORK_DIR}/plain.txt ${WORK_DIR}/back.txt)
vell_says(1 "no such file: .*no-such-key"
    cipher encrypt ${WORK_DIR}/no-such-key ${WORK_DIR}/plain.txt ${WORK_DIR}/x.bin)

# The command XML is compiled in: one lying in the working folder changes
# nothing.
file(WRITE ${WORK_DIR}/data/commands.xml "<Commands><Action name=\"Save\"")
run_vell(0 cipher encrypt ${WORK_DIR}/key.txt ${WORK_DIR}/plain.txt ${WORK_DIR}/x.bin)
file(REMOVE_RECURSE ${WORK_DIR}/data)

# pack / unpack: image -> host stream -> image -> the same host stream.
set(sample ${SOURCE_DIR}/data/samples/sample.png)
vell_says(0 "640 x 400, 1 band of" pack ${sample} ${WORK_DIR}/sample.vph)
expect_match("${last_err}" "colour space: sRGB\n")
file(SIZE ${WORK_DIR}/sample.vph vph_size)
math(EXPR expected_size "12 + 640 * 400 * 4")
if(NOT vph_size EQUAL expected_size)
    message(FATAL_ERROR "host stream of ${vph_size} bytes, expected ${expected_size}")
endif()
run_vell(0 unpack ${WORK_DIR}/sample.vph ${WORK_DIR}/sample-back.png)
run_vell(0 pack ${WORK_DIR}/sample-back.png ${WORK_DIR}/sample-again.vph)
expect_same_file(${WORK_DIR}/sample.vph ${WORK_DIR}/sample-again.vph)

# Colour: the sample's metadata says "ICC profile: Adobe RGB (1998)". The
# working folder has no data/iccprofiles, so vell finds the profiles beside
# its binary.
set(adobe ${SOURCE_DIR}/data/samples/adobergb.jpg)
vell_says(0 "colour space: named in metadata: Adobe RGB \\(converted to sRGB\\)"
    icc ${adobe} ${WORK_DIR}/adobe-srgb.png)
vell_says(0 "colour space: named in metadata: Adobe RGB \\(converted to sRGB\\)" pack ${adobe} ${WORK_DIR}/adobe.vph)
run_vell(0 pack ${adobe} ${WORK_DIR}/adobe-raw.vph --no-colour)
if(last_err MATCHES "colour space")
    message(FATAL_ERROR "--no-colour still converted:\n${last_err}")
endif()
# icc and pack convert alike; --from overrides the metadata.
run_vell(0 pack ${WORK_DIR}/adobe-srgb.png ${WORK_DIR}/icc.vph --no-colour)
expect_same_file(${WORK_DIR}/adobe.vph ${WORK_DIR}/icc.vph)
vell_says(0 "colour space: sRGB \\(as --from says\\)\n" icc ${adobe} ${WORK_DIR}/adobe-as-is.png --from SRGB)
vell_says(2 "unknown colour space 'Adobe98'" icc ${adobe} ${WORK_DIR}/x.png --from Adobe98)

# Bad input fails cleanly.
vell_says(1 "cannot read .*plain.txt: " pack ${WORK_DIR}/plain.txt ${WORK_DIR}/bad.vph)
file(WRITE ${WORK_DIR}/truncated.vph "garbage")
vell_says(1 "cannot read .*truncated.vph: not a valid picture host stream"
    unpack ${WORK_DIR}/truncated.vph ${WORK_DIR}/t.png)
vell_says(1 "no such file: .*missing.vph" unpack ${WORK_DIR}/missing.vph ${WORK_DIR}/t.png)

# compose. No display here, so it composites on the CPU and says so; the GL
# test tst_vellcompose checks the GPU path against the same compositor.
set(cs ${SOURCE_DIR}/data/samples/compose)
set(bg ${cs}/background.png)
run_vell(0 compose --help)
expect_match("${last_out}" "Usage: vell compose -o OUT.png \\[--format FMT\\] \\[--size WxH\\] \\[--save DOC\\] \\[--cpu\\|--gpu\\] \\[OPTION \\.\\.\\.\\] LAYER")

# Usage errors name the problem and show the usage line.
foreach(case
        "no output given;${bg}"
        "no LAYER given;-o;x.png"
        "unknown blend mode 'colour-burn'.*color-burn;-o;x.png;${bg};--mode;colour-burn"
        "bad opacity '1.5';-o;x.png;${bg};--opacity;1.5"
        "bad opacity 'half';-o;x.png;${bg};--opacity;half"
        "bad offset '3';-o;x.png;${bg};--offset;3"
        "bad size '12';-o;x.png;--size;12;${bg}"
        "unknown option '--frobnicate';-o;x.png;${bg};--frobnicate"
        "--mask needs a value;-o;x.png;${bg};--mask"
        "--mode must follow the LAYER;-o;x.png;--mode;screen;${bg}"
        "--opacity given twice;-o;x.png;${bg};--opacity;1;--opacity;0"
        "--cpu and --gpu exclude each other;-o;x.png;--cpu;--gpu;${bg}"
        "cannot tell an image format from x.what;-o;x.what;${bg}")
    list(POP_FRONT case pattern)
    vell_says(2 "${pattern}" compose ${case})
    expect_match("${last_err}" "Usage: vell compose")
endforeach()

# Failures name the file.
vell_says(1 "no such file: .*missing.png" compose -o x.png ${WORK_DIR}/missing.png)
vell_says(1 "cannot read .*plain.txt: neither an image nor a vell document" compose -o x.png ${WORK_DIR}/plain.txt)
vell_says(1 "cannot read .*plain.txt: .*must be the only LAYER" compose -o x.png ${bg} ${WORK_DIR}/plain.txt)
vell_says(1 "mask '.*stripes.png' is 160x120, but its layer 'background.png' is 320x240"
    compose -o x.png ${bg} --mask ${cs}/stripes.png)
vell_says(1 "--gpu: no GL context" compose -o x.png --gpu ${bg})

# The sample: three layers, a mask, two modes; saved and read back, the
# document gives the same picture.
set(sample ${bg} ${cs}/shapes.png --mode multiply --opacity 0.85 --offset 60,40
    --mask ${cs}/shapes-mask.png ${cs}/stripes.png --mode hard-light --offset -40,150)
vell_says(0 "no GL context \\(no display reachable\\): compositing on the CPU"
    compose -o ${WORK_DIR}/compose.png --save ${WORK_DIR}/compose.vdoc ${sample} --progress)
expect_match("${last_err}" "layer 2/3: shapes.png, 200x150 at 60,40, Multiply, opacity 0.85, masked")
expect_match("${last_err}" "layer 3/3: stripes.png, 160x120 at -40,150, Hard Light")
expect_match("${last_err}" "composed 3 layers, 320x240, on the CPU in [0-9]+ ms")
run_vell(0 compose -o ${WORK_DIR}/again.png ${WORK_DIR}/compose.vdoc)
expect_same_file(${WORK_DIR}/compose.png ${WORK_DIR}/again.png)
# A display that is named but does not answer (nothing listens there) is no
# display: compose falls back to the CPU instead of aborting in Qt.
foreach(unreachable 127.0.0.1:4242 :77)
    set(ENV{DISPLAY} ${unreachable})
    vell_says(0 "no GL context \\(no display reachable\\): compositing on the CPU"
        compose -o ${WORK_DIR}/nodisplay.png ${cs}/shapes.png)
endforeach()
unset(ENV{DISPLAY})
# A document saved with --size keeps that size when read back.
run_vell(0 compose -o ${WORK_DIR}/sized.png --size 400x300 --save ${WORK_DIR}/sized.vdoc ${cs}/shapes.png)
vell_says(0 "composed 1 layer, 400x300" compose -o ${WORK_DIR}/sized-again.png ${WORK_DIR}/sized.vdoc)
expect_same_file(${WORK_DIR}/sized.png ${WORK_DIR}/sized-again.png)
vell_says(2 "--opacity cannot follow '.*compose.vdoc'" compose -o x.png ${WORK_DIR}/compose.vdoc --opacity 0.5)

# A hidden layer stays out of the picture.
vell_says(0 "layer 2/2: stripes.png, 160x120, Screen, hidden"
    compose -o ${WORK_DIR}/hidden.png ${bg} ${cs}/stripes.png --hidden --mode screen --progress)
run_vell(0 compose -o ${WORK_DIR}/alone.png --cpu ${bg})
expect_same_file(${WORK_DIR}/hidden.png ${WORK_DIR}/alone.png)

# Text lays out with no display, on --cpu and without it: the host starts the
# offscreen platform itself (xcb named here would abort without a display).
# The text is an editable layer of the saved document, drawn by the export.
set(ENV{QT_QPA_PLATFORM} xcb)
set(hello --text "Hello, Vell" --at 20,20 --font "DejaVu Sans,28" --color "#d02010")
vell_says(0 "text 1/1: text \"Hello, Vel\", [1-9][0-9]*x[1-9][0-9]* at 20,20, Normal"
    compose -o ${WORK_DIR}/text.png --cpu ${bg} ${hello} --save ${WORK_DIR}/text.vdoc --progress)
run_vell(0 compose -o ${WORK_DIR}/text-default.png ${bg} ${hello})
expect_same_file(${WORK_DIR}/text.png ${WORK_DIR}/text-default.png)
vell_says(0 "layer 2/2: text \"Hello, Vel\"" compose -o ${WORK_DIR}/text-again.png --cpu
    ${WORK_DIR}/text.vdoc --progress)
expect_same_file(${WORK_DIR}/text.png ${WORK_DIR}/text-again.png)
# Through OpenRaster the text stays a text layer and draws the same.
run_vell(0 compose -o ${WORK_DIR}/text.ora --cpu ${bg} ${hello})
vell_says(0 "layer 2/2: text \"Hello, Vel\"" compose -o ${WORK_DIR}/text-ora.png --cpu
    ${WORK_DIR}/text.ora --progress)
expect_same_file(${WORK_DIR}/text.png ${WORK_DIR}/text-ora.png)
file(SHA256 ${WORK_DIR}/text.png with_text)
file(SHA256 ${WORK_DIR}/alone.png without_text)
if(with_text STREQUAL without_text)
    message(FATAL_ERROR "--text drew nothing")
endif()
set(ENV{QT_QPA_PLATFORM} offscreen)

# Every output is written whole or not at all. The test hook lets the run's
# files take BUDGET bytes, then fails as a full disk does. Each row: BUDGET,
# then the command with its outputs in ${full}. Every output is there first
# with other content, which must survive; the run fails with the system's
# reason, and nothing else appears in the folder. Then the same with no
# outputs there before: the folder stays empty. Then with the outputs there,
# interrupted (SIGINT) at that point instead: they survive, and no temporary
# file is left.
set(picture ${SOURCE_DIR}/data/samples/sample.png)
set(full ${WORK_DIR}/full)
file(SIZE ${WORK_DIR}/alone.png alone_size)
math(EXPR after_image "${alone_size} + 64")   # the image fits, the document does not
function(expect_folder dir)   # ARGN: the names it must hold, nothing else
    file(GLOB names LIST_DIRECTORIES true RELATIVE ${dir} ${dir}/* ${dir}/.*)
    list(REMOVE_ITEM names "." "..")
    set(want ${ARGN})
    list(SORT names)
    list(SORT want)
    if(NOT "${names}" STREQUAL "${want}")
        message(FATAL_ERROR "${dir} holds '${names}', expected '${want}'")
    endif()
endfunction()
foreach(row
        "1000|pack|${picture}|${full}/out.vph"
        "1000|unpack|${WORK_DIR}/sample.vph|${full}/out.png"
        "1000|unpack|${WORK_DIR}/sample.vph|${full}/out.jpg"
        "1000|unpack|${WORK_DIR}/sample.vph|${full}/out.bmp"
        "1000|unpack|${WORK_DIR}/sample.vph|${full}/out.tif"
        "1000|icc|${adobe}|${full}/out.png"
        "10|cipher|encrypt|${WORK_DIR}/key.txt|${WORK_DIR}/plain.txt|${full}/out.bin"
        "1000|compose|-o|${full}/out.tif|--cpu|${bg}"
        "1000|compose|-o|${full}/out.png|--save|${full}/out.vdoc|--cpu|${bg}"
        "${after_image}|compose|-o|${full}/out.png|--save|${full}/out.vdoc|--cpu|${bg}")
    string(REPLACE "|" ";" row "${row}")
    list(POP_FRONT row budget)
    set(outputs "")
    foreach(arg IN LISTS row)
        if(arg MATCHES "^${full}/(.*)")
            list(APPEND outputs ${CMAKE_MATCH_1})
        endif()
    endforeach()
    foreach(pass IN ITEMS existing fresh interrupted)
        file(REMOVE_RECURSE ${full})
        file(MAKE_DIRECTORY ${full})
        set(existing TRUE)
        if(pass STREQUAL "fresh")
            set(existing FALSE)
        endif()
        if(existing)
            foreach(name IN LISTS outputs)
                file(WRITE ${full}/${name} "kept")
            endforeach()
        endif()
        if(pass STREQUAL "interrupted")
            set(ENV{VELL_TEST_FAIL_WRITE_AFTER} ${budget}:INT)
            run_vell(interrupted ${row})
        else()
            set(ENV{VELL_TEST_FAIL_WRITE_AFTER} ${budget})
            vell_says(1 "cannot write ${full}/[^:]+: No space left on device" ${row})
        endif()
        unset(ENV{VELL_TEST_FAIL_WRITE_AFTER})
        if(existing)
            expect_folder(${full} ${outputs})
            foreach(name IN LISTS outputs)
                file(READ ${full}/${name} content)
                if(NOT content STREQUAL "kept")
                    message(FATAL_ERROR "vell ${row} changed ${name} though it failed")
                endif()
            endforeach()
        else()
            expect_folder(${full})
        endif()
    endforeach()
    # With room enough the same command writes every output.
    run_vell(0 ${row})
    expect_folder(${full} ${outputs})
endforeach()

# A folder that is missing or cannot be written: the system's reason.
vell_says(1 "cannot write .*/no-such-folder/out.vph: No such file or directory"
    pack ${picture} ${WORK_DIR}/no-such-folder/out.vph)
vell_says(1 "cannot write .*/plain.txt/out.png: Not a directory"
    unpack ${WORK_DIR}/sample.vph ${WORK_DIR}/plain.txt/out.png)
execute_process(COMMAND id -u OUTPUT_VARIABLE uid OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT uid STREQUAL "0")   # root writes anywhere
    file(MAKE_DIRECTORY ${WORK_DIR}/locked)
    file(CHMOD ${WORK_DIR}/locked DIRECTORY_PERMISSIONS OWNER_READ OWNER_EXECUTE)
    run_vell(1 compose -o ${WORK_DIR}/locked/out.png --cpu ${bg})
    file(CHMOD ${WORK_DIR}/locked DIRECTORY_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
    expect_match("${last_err}" "cannot write .*/locked/out.png: Permission denied")
    expect_folder(${WORK_DIR}/locked)
endif()

# An output that names an input is refused before anything is read, however
# it is spelt.
file(MAKE_DIRECTORY ${WORK_DIR}/same)
file(COPY ${bg} DESTINATION ${WORK_DIR}/same)
file(CREATE_LINK ${WORK_DIR}/same/background.png ${WORK_DIR}/same/linked.png SYMBOLIC)
file(SHA256 ${bg} bg_hash)
foreach(row
        "icc|same/background.png|./same/background.png"
        "unpack|same/background.png|same/../same/background.png"
        "pack|same/background.png|same/linked.png"
        "cipher|encrypt|same/background.png|${WORK_DIR}/plain.txt|same/background.png"
        "compose|-o|same/linked.png|--cpu|same/background.png"
        "compose|-o|x.png|--save|same/background.png|--cpu|same/background.png")
    string(REPLACE "|" ";" row "${row}")
    vell_says(2 "the output .* is the input" ${row})
    file(SHA256 ${WORK_DIR}/same/background.png hash)
    if(NOT hash STREQUAL bg_hash)
        message(FATAL_ERROR "vell ${row} changed its input")
    endif()
endforeach()
vell_says(2 "-o and --save name the same file"
    compose -o ${WORK_DIR}/twice.png --save ${WORK_DIR}/twice.png --cpu ${bg})

# icc and unpack check the output's suffix before any work.
vell_says(2 "cannot tell an image format from .*x.what" icc ${adobe} ${WORK_DIR}/x.what)
vell_says(2 "cannot tell an image format from .*x.what" unpack ${WORK_DIR}/missing.vph ${WORK_DIR}/x.what)

# The library's log: in its file always, on standard error only with
# --verbose (before the command or among its arguments), never on standard
# output.
foreach(verbose IN ITEMS "pack" "--verbose|pack" "pack|--verbose")
    string(REPLACE "|" ";" verbose "${verbose}")
    file(REMOVE ${log_file})
    run_vell(0 ${verbose} ${picture} ${WORK_DIR}/logged.vph)
    file(READ ${log_file} logged)
    expect_match("${logged}" "Memory Allocation: Size\\(1024000\\)")
    if(verbose MATCHES "--verbose")
        expect_match("${last_err}" "Memory Allocation: Size\\(1024000\\)")
    elseif(last_err MATCHES "Memory Allocation")
        message(FATAL_ERROR "the library's log on standard error without --verbose:\n${last_err}")
    endif()
endforeach()

# -o - writes the image to standard output, PNG unless --format says
# otherwise, byte for byte what -o FILE writes; messages stay on standard
# error.
foreach(format IN ITEMS png bmp)
    set(args --cpu ${bg} ${cs}/stripes.png --mode screen)
    if(format STREQUAL "png")
        set(piped_args -o -)
    else()
        set(piped_args -o - --format ${format})
    endif()
    execute_process(COMMAND ${VELL} compose ${piped_args} ${args} WORKING_DIRECTORY ${WORK_DIR}
        RESULT_VARIABLE code OUTPUT_FILE ${WORK_DIR}/piped.${format} ERROR_VARIABLE err)
    if(NOT code STREQUAL "0")
        message(FATAL_ERROR "vell compose ${piped_args}: exit ${code}\n${err}")
    endif()
    string(TOUPPER ${format} upper)
    expect_match("${err}" "wrote standard output \\(${upper}, 8 bits per channel\\)")
    run_vell(0 compose -o ${WORK_DIR}/filed.${format} ${args})
    expect_same_file(${WORK_DIR}/piped.${format} ${WORK_DIR}/filed.${format})
endforeach()
# Standard output is written in place, so a failure there cannot be undone,
# but it is reported like any other.
set(ENV{VELL_TEST_FAIL_WRITE_AFTER} 1000)
run_vell(1 compose -o - --cpu ${bg})
unset(ENV{VELL_TEST_FAIL_WRITE_AFTER})
expect_match("${last_err}" "cannot write standard output: No space left on device")
vell_says(2 "unknown image format 'what'" compose -o - --format what ${bg})
vell_says(2 "--save needs a file" compose -o - --save - ${bg})

# cipher: a key file shorter than the 8-byte key is a usage error; input that
# does not decipher to well-formed padding is refused and nothing written.
file(WRITE ${WORK_DIR}/short-key.txt "1234567")
vell_says(2 "short-key.txt holds 7 bytes, but the key is its first 8 bytes"
    cipher encrypt ${WORK_DIR}/short-key.txt ${WORK_DIR}/plain.txt ${WORK_DIR}/never.bin)
file(WRITE ${WORK_DIR}/other-key.txt "another key")
vell_says(1 "cannot decrypt .*cipher.bin: its padding is not valid"
    cipher decrypt ${WORK_DIR}/other-key.txt ${WORK_DIR}/cipher.bin ${WORK_DIR}/never.txt)
vell_says(1 "cannot decrypt .*short-key.txt: 7 bytes is not a whole number of 8-byte blocks"
    cipher decrypt ${WORK_DIR}/key.txt ${WORK_DIR}/short-key.txt ${WORK_DIR}/never.txt)
foreach(never IN ITEMS never.bin never.txt)
    if(EXISTS ${WORK_DIR}/${never})
        message(FATAL_ERROR "a refused cipher run wrote ${never}")
    endif()
endforeach()

# A result that cannot be written to standard output is a failure too.
foreach(asked IN ITEMS info --help --version)
    if(NOT EXISTS /dev/full)
        break()
    endif()
    execute_process(COMMAND ${VELL} ${asked} WORKING_DIRECTORY ${WORK_DIR}
        RESULT_VARIABLE code OUTPUT_FILE /dev/full ERROR_VARIABLE err)
    if(NOT code STREQUAL "1")
        message(FATAL_ERROR "vell ${asked} into a full disk: exit ${code}, expected 1\n${err}")
    endif()
    expect_match("${err}" "cannot write standard output: No space left on device")
endforeach()

# The bottom layer is drawn in Normal mode whatever it asks for, with a
# warning that says so.
vell_says(0 "warning: the bottom layer background.png is drawn in Normal mode, not Multiply"
    compose -o ${WORK_DIR}/bottom-mode.png --cpu ${bg} --mode multiply)
expect_same_file(${WORK_DIR}/bottom-mode.png ${WORK_DIR}/alone.png)

# --from names match as loosely as blend mode names.
foreach(row "adobe-rgb|adobe-srgb.png" "ADOBE_RGB|adobe-srgb.png" "srgb|adobe-as-is.png")
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 name)
    list(GET row 1 want)
    run_vell(0 icc ${adobe} ${WORK_DIR}/from-loose.png --from ${name})
    expect_same_file(${WORK_DIR}/from-loose.png ${WORK_DIR}/${want})
endforeach()

# select: shapes, masks and their combinations. Every step passes through the
# selection's 3 x 3 median, so a rectangle loses its four corner pixels (80 - 4)
# and a 3 x 3 hole keeps only its middle cross (76 - 5).
set(shapes ${SOURCE_DIR}/data/samples/compose/shapes.png)   # 200 x 150
vell_says(0 "box: 2,2 10x8" select ${shapes} ${WORK_DIR}/rect.png --rect 2,2,10,8)
expect_match("${last_err}" "selected: 76 pixels")
vell_says(0 "step 2/2: subtract --rect 4,4,3,3"
    select ${shapes} ${WORK_DIR}/holed.png --rect 2,2,10,8 --subtract --rect 4,4,3,3 --progress)
expect_match("${last_err}" "selected: 71 pixels")
# A coverage image read back as a mask gives the same image (the rectangle
# without its corners is what the median leaves alone).
run_vell(0 select ${shapes} ${WORK_DIR}/again.png --mask ${WORK_DIR}/rect.png)
expect_same_file(${WORK_DIR}/rect.png ${WORK_DIR}/again.png)

# An ellipse against a count made here: pixels whose centres lie inside the
# ellipse X,Y,W,H, then the 3 x 3 median of that (a pixel stays selected when
# 5 of its 9 neighbours are inside). In halves of a pixel, so integers do:
# (2x + 1 - (2X + W))^2 H^2 + (2y + 1 - (2Y + H))^2 W^2 <= W^2 H^2.
set(ex 5)
set(ey 4)
set(ew 13)
set(eh 9)
math(EXPR first_x "${ex} - 1")
math(EXPR last_x "${ex} + ${ew}")
math(EXPR first_y "${ey} - 1")
math(EXPR last_y "${ey} + ${eh}")
foreach(y RANGE ${first_y} ${last_y})
    foreach(x RANGE ${first_x} ${last_x})
        math(EXPR u "2 * ${x} + 1 - (2 * ${ex} + ${ew})")
        math(EXPR v "2 * ${y} + 1 - (2 * ${ey} + ${eh})")
        math(EXPR lhs "(${u}) * (${u}) * ${eh} * ${eh} + (${v}) * (${v}) * ${ew} * ${ew}")
        math(EXPR rhs "${ew} * ${ew} * ${eh} * ${eh}")
        if(lhs GREATER rhs)
            set(in_${x}_${y} 0)
        else()
            set(in_${x}_${y} 1)
        endif()
    endforeach()
endforeach()
set(ellipse_count 0)
set(box_left 9999)
set(box_right -1)
set(box_top 9999)
set(box_bottom -1)
foreach(y RANGE ${first_y} ${last_y})
    foreach(x RANGE ${first_x} ${last_x})
        set(around 0)
        foreach(dy -1 0 1)
            foreach(dx -1 0 1)
                math(EXPR nx "${x} + ${dx}")
                math(EXPR ny "${y} + ${dy}")
                if(DEFINED in_${nx}_${ny})
                    math(EXPR around "${around} + ${in_${nx}_${ny}}")
                endif()
            endforeach()
        endforeach()
        if(around GREATER_EQUAL 5)
            math(EXPR ellipse_count "${ellipse_count} + 1")
            if(x LESS box_left)
                set(box_left ${x})
            endif()
            if(x GREATER box_right)
                set(box_right ${x})
            endif()
            if(y LESS box_top)
                set(box_top ${y})
            endif()
            if(y GREATER box_bottom)
                set(box_bottom ${y})
            endif()
        endif()
    endforeach()
endforeach()
math(EXPR box_w "${box_right} - ${box_left} + 1")
math(EXPR box_h "${box_bottom} - ${box_top} + 1")
vell_says(0 "box: ${box_left},${box_top} ${box_w}x${box_h}\n"
    select ${shapes} ${WORK_DIR}/ellipse.png --ellipse ${ex},${ey},${ew},${eh})
expect_match("${last_err}" "selected: ${ellipse_count} pixels")
# Inverted, every other pixel of the image.
math(EXPR rest "200 * 150 - ${ellipse_count}")
vell_says(0 "box: 0,0 200x150\n"
    select ${shapes} ${WORK_DIR}/not-ellipse.png --ellipse ${ex},${ey},${ew},${eh} --invert)
expect_match("${last_err}" "selected: ${rest} pixels")

# select --polygon: the closed outline, filled even-odd with its one-pixel
# outline, through the selection's own path rasterising (no median): the
# rectangle 10,10 .. 30,20 as a polygon covers columns 10 .. 30 and rows
# 10 .. 20. Feathered, the edge turns partly selected: more pixels are
# touched, fewer are at least half selected.
vell_says(0 "box: 10,10 21x11" select ${shapes} ${WORK_DIR}/polygon.png --polygon 10,10,30,10,30,20,10,20)
expect_match("${last_err}" "selected: 231 pixels \\(231 at least half\\)")
run_vell(0 select ${shapes} ${WORK_DIR}/soft.png --polygon 10,10,30,10,30,20,10,20 --feather 3)
string(REGEX MATCH "selected: ([0-9]+) pixels \\(([0-9]+) at least half" soft "${last_err}")
if(NOT soft OR CMAKE_MATCH_1 LESS_EQUAL 231 OR CMAKE_MATCH_2 GREATER_EQUAL 231)
    message(FATAL_ERROR "feathering did not soften the polygon's edge:\n${last_err}")
endif()
# select --grow: on the rectangle's coverage from above, tolerance 0, the
# rectangle (76 pixels) grows from inside it, and everything else from a
# corner; a seed off the image is refused.
vell_says(0 "box: 2,2 10x8" select ${WORK_DIR}/rect.png ${WORK_DIR}/grown-in.png --grow 5,5,0)
expect_match("${last_err}" "selected: 76 pixels")
vell_says(0 "selected: 29924 pixels" select ${WORK_DIR}/rect.png ${WORK_DIR}/grown-out.png --grow 0,0)
vell_says(1 "--grow 200,0: the seed is outside the 200x150 image"
    select ${WORK_DIR}/rect.png ${WORK_DIR}/never.png --grow 200,0)

# select: usage errors name the argument; a mask of another size is a failure.
run_vell(0 select --help)
expect_match("${last_out}" "Usage: vell select IN OUT.png STEP")
vell_says(2 "select needs IN and OUT" select ${shapes})
foreach(row
        "select needs at least one step|"
        "bad --grow '1,2,-3'|--grow|1,2,-3"
        "bad --polygon '1,2,3,4'|--polygon|1,2,3,4"
        "bad --feather '-2'|--rect|1,1,5,5|--feather|-2"
        "bad --rect '1,2,3'|--rect|1,2,3"
        "bad --ellipse '1,2,0,4'|--ellipse|1,2,0,4"
        "--subtract needs a step after it|--rect|1,2,3,4|--subtract"
        "--intersect follows --add|--add|--intersect|--rect|1,2,3,4"
        "unknown option '--lasso'|--lasso|1,2")
    string(REPLACE "|" ";" row "${row}")
    list(POP_FRONT row said)
    vell_says(2 "${said}" select ${shapes} ${WORK_DIR}/never.png ${row})
endforeach()
run_vell(2 select ${shapes} ${shapes} --rect 1,2,3,4)
vell_says(1 "--mask .*stripes.png: the mask is [0-9]+x[0-9]+, the image 200x150"
    select ${shapes} ${WORK_DIR}/never.png --mask ${SOURCE_DIR}/data/samples/compose/stripes.png)
if(EXISTS ${WORK_DIR}/never.png)
    message(FATAL_ERROR "a refused select run wrote never.png")
endif()

# Bad inputs kept in data/samples/bad (its make-bad.py writes them). Images
# whose headers claim gigabytes of pixels are refused before anything is
# decoded by every command and every place that opens an image, naming the
# file and the limit (the GIF whose logical screen alone is huge is held to
# the picture reader's decode ceiling).
set(bad ${SOURCE_DIR}/data/samples/bad)
set(over "is over the image size limit of this run \\(65535 x 65535 pixels, [0-9]+ Mpixels; --max-size WxH raises it")
foreach(row
        "wide-bmp.bmp|7201 x 32767 pixels ${over}"
        "huge-gif.gif|65535 x 65535 pixels ${over}"
        "huge-screen-gif.gif|65535 x 65535 pixels is too large to open"
        "huge-jpeg.jpg|65500 x 65500 pixels ${over}")
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 file)
    list(GET row 1 said)
    foreach(command IN ITEMS
            "pack|${bad}/${file}|never.vph"
            "icc|${bad}/${file}|never.png"
            "select|${bad}/${file}|never.png|--rect|1,1,2,2"
            "select|${bg}|never.png|--mask|${bad}/${file}"
            "compose|-o|never.png|--cpu|${bad}/${file}"
            "compose|-o|never.png|--cpu|${bg}|--mask|${bad}/${file}")
        string(REPLACE "|" ";" command "${command}")
        vell_says(1 "cannot read ${bad}/${file}: its picture of ${said}" ${command})
    endforeach()
endforeach()
# Files whose bytes read as a document stream with no layers (or one with
# bytes after it) are neither images nor documents.
foreach(file IN ITEMS empty-document.bin empty-document-and-more.bin)
    vell_says(1 "cannot read ${bad}/${file}: neither an image nor a vell document"
        compose -o never.png --cpu ${bad}/${file})
endforeach()
# A folder given as a file, to every command; /dev/zero and a file over the
# cipher's 64 MiB to cipher, which reads no byte of them.
execute_process(COMMAND truncate -s 65M ${WORK_DIR}/huge.bin RESULT_VARIABLE truncated)
foreach(row
        "pack|${WORK_DIR}|never.vph"
        "icc|${WORK_DIR}|never.png"
        "unpack|${WORK_DIR}|never.png"
        "select|${WORK_DIR}|never.png|--rect|1,1,2,2"
        "compose|-o|never.png|--cpu|${WORK_DIR}"
        "cipher|encrypt|${WORK_DIR}/key.txt|${WORK_DIR}|never.bin"
        "cipher|encrypt|${WORK_DIR}|${WORK_DIR}/plain.txt|never.bin"
        "cipher|encrypt|${WORK_DIR}/key.txt|/dev/zero|never.bin"
        "cipher|decrypt|/dev/zero|${WORK_DIR}/cipher.bin|never.bin"
        "cipher|encrypt|${WORK_DIR}/key.txt|${WORK_DIR}/huge.bin|never.bin")
    string(REPLACE "|" ";" row "${row}")
    if(row MATCHES "huge.bin" AND NOT truncated EQUAL 0)
        continue()   # no sparse file here
    endif()
    run_vell(1 ${row})
    if(row MATCHES "/dev/zero")
        expect_match("${last_err}" "cannot read /dev/zero: not a regular file")
    elseif(row MATCHES "huge.bin")
        expect_match("${last_err}" "huge.bin: its 68157440 bytes are more than the cipher takes \\(67108864 bytes, 64 MiB\\)")
    else()
        expect_match("${last_err}" "cannot read ${WORK_DIR}: Is a directory")
    endif()
endforeach()
file(REMOVE ${WORK_DIR}/huge.bin)
foreach(never IN ITEMS never.png never.vph never.bin)
    if(EXISTS ${WORK_DIR}/${never})
        message(FATAL_ERROR "a refused run wrote ${never}")
    endif()
endforeach()

# Image sizes. A run takes what its path holds, so a picture over the
# settings' 7200 pixels a side is used whole (vell used to shrink it, and
# --size could not pass it).
vell_says(0 "composed 1 layer, 7300x40" compose -o ${WORK_DIR}/wide.png --cpu --size 7300x40 ${cs}/shapes.png)
vell_says(0 "7300 x 40, 1 band" pack ${WORK_DIR}/wide.png ${WORK_DIR}/wide.vph)
# --max-size sets the limit: a picture or a document over it is refused,
# naming the limit and what raises it; compose adds --shrink.
set(limit "over the image size limit of this run \\(7200 x 7200 pixels, 50 Mpixels; --max-size WxH raises it")
foreach(row
        "pack|${WORK_DIR}/wide.png|never.vph"
        "icc|${WORK_DIR}/wide.png|never.png"
        "select|${WORK_DIR}/wide.png|never.png|--rect|1,1,2,2"
        "compose|-o|never.png|--cpu|${WORK_DIR}/wide.png"
        "compose|-o|never.png|--cpu|--size|7300x40|${cs}/shapes.png")
    string(REPLACE "|" ";" row "${row}")
    run_vell(1 ${row} --max-size 7200x7200)
    if(row MATCHES "--size")
        expect_match("${last_err}" "a document of 7300x40 is ${limit}; --shrink shrinks the whole composition to fit\\)")
    else()
        expect_match("${last_err}" "cannot read ${WORK_DIR}/wide.png: its picture of 7300 x 40 pixels is ${limit}")
    endif()
endforeach()
vell_says(2 "--max-size 70000x10 is beyond what the CPU path can hold \\(65535 x 65535 pixels, 511 Mpixels\\)"
    pack ${WORK_DIR}/wide.png never.vph --max-size 70000x10)
vell_says(2 "bad --max-size '10'" compose -o never.png --max-size 10 ${bg})
# --shrink scales the whole composition by one factor to fit --max-size:
# every layer, offset and mask, so the layers keep their places.
vell_says(0 "shrinking the composition by 0.5 to fit 160 x 120 pixels, 19200 pixels in all"
    compose -o ${WORK_DIR}/shrunk.png --cpu --max-size 160x120 --shrink --progress ${sample})
expect_match("${last_err}" "layer 1/3: background.png, 160x120, Normal")
expect_match("${last_err}" "layer 2/3: shapes.png, 100x75 at 30,20, Multiply, opacity 0.85, masked")
expect_match("${last_err}" "layer 3/3: stripes.png, 80x60 at -20,75, Hard Light")
expect_match("${last_err}" "composed 3 layers, 160x120")
# Without --max-size, to the settings' limit (7200 pixels a side).
vell_says(0 "composed 1 layer, 7200x39" compose -o ${WORK_DIR}/shrunk-wide.png --cpu --shrink ${WORK_DIR}/wide.png)
vell_says(2 "--shrink scales image layers, not the document" compose -o never.png --shrink ${WORK_DIR}/compose.vdoc)

# Output options: JPEG and WebP quality, lossless WebP, 16 bits per channel in
# PNG and TIFF; each checked against the format before any work.
foreach(quality IN ITEMS 20 95)
    run_vell(0 icc ${picture} ${WORK_DIR}/q${quality}.jpg --quality ${quality})
    file(SIZE ${WORK_DIR}/q${quality}.jpg q${quality}_size)
endforeach()
if(NOT q20_size LESS q95_size)
    message(FATAL_ERROR "--quality 20 gave ${q20_size} bytes, --quality 95 ${q95_size}")
endif()
run_vell(0 icc ${picture} ${WORK_DIR}/lossless.webp --lossless)
run_vell(0 pack ${WORK_DIR}/lossless.webp ${WORK_DIR}/lossless.vph)
expect_same_file(${WORK_DIR}/sample.vph ${WORK_DIR}/lossless.vph)
run_vell(0 compose -o ${WORK_DIR}/compose.webp --lossless --cpu ${sample})
run_vell(0 compose -o ${WORK_DIR}/compose-again.png --cpu ${WORK_DIR}/compose.webp)
expect_same_file(${WORK_DIR}/compose.png ${WORK_DIR}/compose-again.png)
# 16 bits: asked for, kept from a 16-bit input, and the line says what a
# format actually holds.
foreach(row
        "${picture}|deep.png|--depth,16|16"
        "${WORK_DIR}/deep.png|deep-again.tif||16"
        "${WORK_DIR}/deep.png|deep.jpg||8"
        "${WORK_DIR}/deep.png|shallow.png|--depth,8|8")
    string(REPLACE "|" ";" row "${row}")
    list(GET row 0 in)
    list(GET row 1 out)
    list(GET row 2 options)
    list(GET row 3 depth)
    string(REPLACE "," ";" options "${options}")
    vell_says(0 "wrote .*${out} \\(640 x 400, ${depth} bits per channel\\)" icc ${in} ${WORK_DIR}/${out} ${options})
endforeach()
# The compositor works at 8 bits, and says so when more are asked for or
# every layer has 16.
foreach(row "--depth|16|${bg}|asks for" "${WORK_DIR}/deep.png|every layer has" "${WORK_DIR}/deep.png|${bg}|")
    string(REPLACE "|" ";" row "${row}")
    list(POP_BACK row said)
    vell_says(0 "wrote .*deep-compose.png \\(PNG, 8 bits per channel\\)"
        compose -o ${WORK_DIR}/deep-compose.png --cpu ${row})
    if(said)
        expect_match("${last_err}" "warning: [^\n]*${said} 16 bits per channel, but the compositor works at 8 bits per channel")
    elseif(last_err MATCHES "compositor works at 8")
        message(FATAL_ERROR "a warning about 16 bits for an 8-bit layer:\n${last_err}")
    endif()
endforeach()
foreach(row
        "--quality applies to JPEG and WebP, not to PNG|icc|${picture}|never.png|--quality|50"
        "--lossless applies to WebP, not to JPG|icc|${picture}|never.jpg|--lossless"
        "--depth 16 needs PNG or TIFF: JPG holds 8 bits per channel|compose|-o|never.jpg|--depth|16|${bg}"
        "bad --quality '101'|unpack|${WORK_DIR}/sample.vph|never.jpg|--quality|101"
        "bad --depth '12'|unpack|${WORK_DIR}/sample.vph|never.png|--depth|12"
        "--lossless and --quality exclude each other|select|${bg}|never.webp|--rect|1,1,2,2|--lossless|--quality|9"
        "--quality given twice|icc|${picture}|never.jpg|--quality|5|--quality|6"
        "unknown option '--depth'|select|${bg}|never.png|--rect|1,1,2,2|--depth|16")
    string(REPLACE "|" ";" row "${row}")
    list(POP_FRONT row said)
    vell_says(2 "${said}" ${row})
endforeach()

# Progress lines only on a terminal or with --progress; the report always.
run_vell(0 compose -o ${WORK_DIR}/quiet.png --cpu ${sample})
if(last_err MATCHES "layer [0-9]/|compositing|writing")
    message(FATAL_ERROR "progress lines without --progress on a pipe:\n${last_err}")
endif()
expect_match("${last_err}" "composed 3 layers")
vell_says(0 "layer 1/3: .*compositing 320x240 on the CPU.*writing .*quiet.png"
    --progress compose -o ${WORK_DIR}/quiet.png --cpu ${sample})

# --no-colour works on every command that opens an image (the sample's
# metadata names Adobe RGB).
foreach(row
        "pack|${adobe}|${WORK_DIR}/nc.vph"
        "icc|${adobe}|${WORK_DIR}/nc.png"
        "select|${adobe}|${WORK_DIR}/nc.png|--rect|1,1,2,2"
        "compose|-o|${WORK_DIR}/nc.png|--cpu|${adobe}")
    string(REPLACE "|" ";" row "${row}")
    vell_says(0 "colour space: named in metadata: Adobe RGB \\(converted to sRGB\\)" ${row})
    run_vell(0 ${row} --no-colour)
    if(last_err MATCHES "colour space")
        message(FATAL_ERROR "vell ${row} --no-colour still converted:\n${last_err}")
    endif()
endforeach()
vell_says(2 "--from and --no-colour exclude each other" icc ${adobe} never.png --from srgb --no-colour)

# One wording and correct plurals.
vell_says(2 "pack needs IMAGE and OUT \\(got 1 argument\\)" pack ${picture})
vell_says(2 "cipher needs 4 arguments \\(got 2 arguments\\)" cipher encrypt only-two)
vell_says(2 "unknown option '--frobnicate'" pack ${picture} never.vph --frobnicate)
