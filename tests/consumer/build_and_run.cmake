# Installs the library of BUILD_DIR into WORK_DIR/prefix, configures and builds the consumer project of
# SOURCE_DIR against it with the compiler CXX, the generator GENERATOR and the build type BUILD_TYPE, and runs
# the program. Then, with NM, checks that the program holds every static initialiser of the archive (in LIBDIR):
# the link took the archive whole, so registrations from units the program never calls survive.
# cmake -DBUILD_DIR=... -DSOURCE_DIR=... -DWORK_DIR=... -DCXX=... -DGENERATOR=... -DBUILD_TYPE=... -DLIBDIR=... -DNM=... -P
function( run )
    execute_process( COMMAND ${ARGN} RESULT_VARIABLE Status OUTPUT_VARIABLE Output ERROR_VARIABLE Output )
    if( NOT Status EQUAL 0 )
        message( FATAL_ERROR "${Output}\nFailed (${Status}): ${ARGN}" )
    endif()
    set( Output "${Output}" PARENT_SCOPE )
endfunction()

file( REMOVE_RECURSE ${WORK_DIR} )
run( ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK_DIR}/prefix )
run( ${CMAKE_COMMAND} -S ${SOURCE_DIR} -B ${WORK_DIR}/build -G ${GENERATOR} -DCMAKE_CXX_COMPILER=${CXX}
     -DCMAKE_BUILD_TYPE=${BUILD_TYPE} -DCMAKE_PREFIX_PATH=${WORK_DIR}/prefix )
run( ${CMAKE_COMMAND} --build ${WORK_DIR}/build )
run( ${WORK_DIR}/build/qor_core_consumer )
message( "${Output}" )

set( Archive ${WORK_DIR}/prefix/${LIBDIR}/libqor_core.a )
run( ${NM} ${Archive} )
string( REGEX MATCHALL "_GLOBAL__sub_I_[A-Za-z0-9_]+" ArchiveInitialisers "${Output}" )
list( REMOVE_DUPLICATES ArchiveInitialisers )
if( NOT ArchiveInitialisers )
    message( FATAL_ERROR "No static initialiser found in ${Archive}" )
endif()
run( ${NM} ${WORK_DIR}/build/qor_core_consumer )
foreach( Initialiser IN LISTS ArchiveInitialisers )
    if( NOT Output MATCHES "${Initialiser}" )
        message( FATAL_ERROR "The program lacks ${Initialiser} of the library: the archive was not linked whole" )
    endif()
endforeach()
list( LENGTH ArchiveInitialisers Count )
message( "All ${Count} static initialisers of the library are in the program." )
