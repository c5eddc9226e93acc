# Prepares the working directory of `talvon test`: the bundled model as
# source.bin and run.bin in selftest/a/b/c, and a random portfolio of 30
# policies with seven products each, written by talvon's own generate task,
# as selftest/portfolios/portfolios/random7_30.pf. All three scrambled.
#
# cmake -DTALVON=... -DSCRAMBLE=... -DSOURCE_DIR=... -DOUT=... -P PrepareSelfTest.cmake

set(work ${OUT}/a/b/c)
set(generate ${OUT}/generate)
file(REMOVE_RECURSE ${generate})
file(MAKE_DIRECTORY ${work} ${OUT}/portfolios/portfolios ${generate}/conf)

function(scramble from to)
  execute_process(COMMAND ${SCRAMBLE} ${from} ${to} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

scramble(${SOURCE_DIR}/models/pension/model.tal ${work}/source.bin)
scramble(${SOURCE_DIR}/models/selftest/run.tal ${work}/run.bin)

# The generate task reads the basis tables from conf/ and ignores the model.
file(GLOB tables ${SOURCE_DIR}/models/conf/*.txt)
file(COPY ${tables} DESTINATION ${generate}/conf)
file(WRITE ${generate}/portfolio.tal "(define (portfolio) (assoc (\"policies\" ())))\n")
file(WRITE ${generate}/run.tal "(define (task) (generate 30 \"random4_30.pf\" \"random7_30.pf\"))\n")
scramble(${SOURCE_DIR}/models/pension/model.tal ${generate}/m.bin)
scramble(${generate}/portfolio.tal ${generate}/p.bin)
scramble(${generate}/run.tal ${generate}/r.bin)
execute_process(COMMAND ${TALVON} exec m.bin p.bin r.bin
  WORKING_DIRECTORY ${generate} OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
scramble(${generate}/random7_30.pf ${OUT}/portfolios/portfolios/random7_30.pf)
