# cmake -D PARTS=stand-in-parts -D TOOL=release-set -D OUT=DIR -P make.cmake
#
# Makes the whole stand-in set in OUT: the parts, then each drawn screen by "release-set convert".
# The drawn screens stay beside in OUT/pictures.

function(run)
    execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

set(pictures "${OUT}/pictures")
run("${PARTS}" "${pictures}")
foreach(name settings.json fw1.bin Address.bin)
    file(RENAME "${pictures}/${name}" "${OUT}/${name}")
endforeach()

set(sources Menu=0.c Annealing=1.c Settings=3_2.c CoilCooling=5.c Done=6.c)
foreach(pair IN LISTS sources)
    string(REPLACE "=" ";" pair "${pair}")
    list(GET pair 0 title)
    list(GET pair 1 source)
    run("${TOOL}" convert --dither "${pictures}/${title}.png" "${OUT}/${source}")
endforeach()
