! The whole workflow of a solver integrator, from Fortran, in the order a solver meets it:
!
!  1. describe the set-up (two regions, node and element supports, a vector field on
!     the nodes and a scalar field on the elements), check it, save it, and save the
!     mesh and snapshot configurations derived from it;
!  2. build a mixed mesh (a Hex8, a Tet4, a Tri3, one polygon, one polyhedron) and
!     save it;
!  3. fill one snapshot with the run's values and save it;
!  4. push the run into a snapshot cache, save it, and save a project;
!  5. resume the files and check what comes back, then update the resumed mesh in
!     place through its tables.
!
! Usage: workflow_fortran_example [folder]   (the files go to the folder, "." by default)
! Any failure prints the library's own text and ends the program with status 1.
program workflow
  use, intrinsic :: iso_fortran_env, only: error_unit
  use tervikrom
  implicit none

  integer, parameter :: ik = c_int32_t, dp = c_double

  ! Entity type codes: the library gives them no meaning; this solver's convention.
  integer(ik), parameter :: NODES = 1, CELLS = 2, FACES = 3

  ! The mesh: a unit cube (nodes 0-7), the apex of a pyramid on its top face (8) and a
  ! triangle beside it (9-11). Column i + 1 holds node i; node numbers start at 0. Node i has
  ! the id 100 + i; connectivity names nodes by id.
  real(dp), parameter :: coordinates(3, 12) = reshape([ &
      0.0_dp, 0.0_dp, 0.0_dp,   1.0_dp, 0.0_dp, 0.0_dp,   1.0_dp, 1.0_dp, 0.0_dp, &
      0.0_dp, 1.0_dp, 0.0_dp,   0.0_dp, 0.0_dp, 1.0_dp,   1.0_dp, 0.0_dp, 1.0_dp, &
      1.0_dp, 1.0_dp, 1.0_dp,   0.0_dp, 1.0_dp, 1.0_dp,   0.5_dp, 0.5_dp, 2.0_dp, &
      2.0_dp, 0.0_dp, 0.0_dp,   3.0_dp, 0.0_dp, 0.0_dp,   2.0_dp, 1.0_dp, 0.0_dp], [3, 12])
  integer(ik), parameter :: hex(8) = [100, 101, 102, 103, 104, 105, 106, 107]
  integer(ik), parameter :: tet(4) = [104, 105, 106, 108]
  integer(ik), parameter :: tri(3) = [109, 110, 111]
  integer(ik), parameter :: quad(4) = [104, 105, 106, 107]
  ! The pyramid over the top face, as a polyhedron of five faces (column f + 1 is face f).
  integer(ik), parameter :: pyramidFaceSizes(5) = [4, 3, 3, 3, 3]
  integer(ik), parameter :: pyramidFaces(4, 5) = reshape( &
      [104, 105, 106, 107,   104, 105, 108, 0,   105, 106, 108, 0,   106, 107, 108, 0,   107, 104, 108, 0], [4, 5])

  ! The solver's own node ids, lent to the library in step 5: a target that outlives
  ! the table it becomes.
  integer(ik), target :: solverNodeIds(12)

  character(:), allocatable :: folder

  call readFolder()
  call describeSetup()
  call buildMesh()
  call recordRun()
  call resumeAll()
  deallocate(folder)

contains

  subroutine readFolder()
    integer :: length, status

    call get_command_argument(1, length=length, status=status)
    if (status /= 0 .or. length == 0) then
      folder = "."
    else
      allocate(character(length) :: folder)
      call get_command_argument(1, value=folder)
    end if
  end subroutine readFolder

  ! folder/name.extension as a C string argument; extension is a RomGet...FileExtension().
  function path(name, extension) result(text)
    character(*), intent(in) :: name
    type(c_ptr), intent(in) :: extension
    character(:), allocatable :: text

    text = rom_c_string(folder // "/" // name // "." // rom_string(extension))
  end function path

  subroutine require(condition, what)
    logical, intent(in) :: condition
    character(*), intent(in) :: what

    if (.not. condition) then
      write (error_unit, "(a)") "check failed: " // what
      stop 1
    end if
  end subroutine require

  subroutine addSupport(region, solverId, entityCount, entitiesType)
    type(c_ptr), intent(in) :: region
    character(*), intent(in) :: solverId
    integer(ik), intent(in) :: entityCount, entitiesType
    type(c_ptr) :: support

    call rom_check(RomRegionCfgAddSupport(region, support), "RomRegionCfgAddSupport")
    call rom_check(RomSetSolverId(support, rom_c_string(solverId)), "RomSetSolverId")
    call rom_check(RomSupportCfgSetEntityCount(support, entityCount), "RomSupportCfgSetEntityCount")
    call rom_check(RomSupportCfgSetEntitiesType(support, entitiesType), "RomSupportCfgSetEntitiesType")
  end subroutine addSupport

  function addField(setup, solverId, quantity, unit, entitiesType) result(field)
    type(c_ptr), intent(in) :: setup
    character(*), intent(in) :: solverId, quantity, unit
    integer(ik), intent(in) :: entitiesType
    type(c_ptr) :: field

    call rom_check(RomSetupCfgAddField(setup, field), "RomSetupCfgAddField")
    call rom_check(RomSetSolverId(field, rom_c_string(solverId)), "RomSetSolverId")
    call rom_check(RomFieldCfgSetCaption(field, rom_c_string(solverId)), "RomFieldCfgSetCaption")
    call rom_check(RomFieldCfgSetQuantity(field, rom_c_string(quantity)), "RomFieldCfgSetQuantity")
    call rom_check(RomFieldCfgSetUnit(field, rom_c_string(unit)), "RomFieldCfgSetUnit")
    call rom_check(RomFieldCfgSetEntitiesType(field, entitiesType), "RomFieldCfgSetEntitiesType")
  end function addField

  subroutine addComponent(field, solverId)
    type(c_ptr), intent(in) :: field
    character(*), intent(in) :: solverId
    type(c_ptr) :: component

    call rom_check(RomFieldCfgAddComponent(field, component), "RomFieldCfgAddComponent")
    call rom_check(RomSetSolverId(component, rom_c_string(solverId)), "RomSetSolverId")
    call rom_check(RomComponentCfgSetCaption(component, rom_c_string(solverId)), "RomComponentCfgSetCaption")
  end subroutine addComponent

  ! 1. The set-up.
  subroutine describeSetup()
    type(c_ptr) :: setup, mesh, nodeData, elements, standard, user, polygons, polyhedrons
    type(c_ptr) :: solid, skin, field

    call rom_check(RomFactoryCreateSetupCfg(setup), "RomFactoryCreateSetupCfg")
    call rom_check(RomSetupCfgConfigureMeshData(setup, mesh), "RomSetupCfgConfigureMeshData")
    call rom_check(RomMeshDataCfgSetUnit(mesh, rom_c_string("m")), "RomMeshDataCfgSetUnit")
    call rom_check(RomMeshDataCfgConfigureNodeData(mesh, nodeData), "RomMeshDataCfgConfigureNodeData")
    call rom_check(RomNodeDataCfgSetCount(nodeData, 12_ik), "RomNodeDataCfgSetCount")
    call rom_check(RomNodeDataCfgSetDimension(nodeData, 3_ik), "RomNodeDataCfgSetDimension")
    call rom_check(RomMeshDataCfgConfigureElementData(mesh, elements), "RomMeshDataCfgConfigureElementData")
    call rom_check(RomElementDataCfgConfigureStdElementData(elements, standard), "ConfigureStdElementData")
    call rom_check(RomStdElementDataCfgSetCount(standard, 3_ik), "RomStdElementDataCfgSetCount")
    call rom_check(RomStdElementDataCfgSetConnectivityTableSize(standard, 8_ik + 4_ik + 3_ik), &
        "SetConnectivityTableSize")
    call rom_check(RomElementDataCfgConfigureUserElementData(elements, user), "ConfigureUserElementData")
    call rom_check(RomUserElementDataCfgConfigurePolygonData(user, polygons), "ConfigurePolygonData")
    call rom_check(RomPolygonDataCfgSetCount(polygons, 1_ik), "RomPolygonDataCfgSetCount")
    call rom_check(RomPolygonDataCfgSetConnectivityTableSize(polygons, 1_ik + 4_ik), "SetConnectivityTableSize")
    call rom_check(RomUserElementDataCfgConfigurePolyhedronData(user, polyhedrons), "ConfigurePolyhedronData")
    call rom_check(RomPolyhedronDataCfgSetCount(polyhedrons, 1_ik), "RomPolyhedronDataCfgSetCount")
    ! F, then per face its node count and nodes: 1 + 5 + (4 + 3 + 3 + 3 + 3).
    call rom_check(RomPolyhedronDataCfgSetConnectivityTableSize(polyhedrons, 1_ik + 5_ik + 16_ik), &
        "SetConnectivityTableSize")

    call rom_check(RomMeshDataCfgAddRegion(mesh, solid), "RomMeshDataCfgAddRegion")
    call rom_check(RomSetSolverId(solid, rom_c_string("solid")), "RomSetSolverId")
    call rom_check(RomRegionCfgSetCaption(solid, rom_c_string("Solid")), "RomRegionCfgSetCaption")
    call addSupport(solid, "solid-nodes", 12_ik, NODES)
    call addSupport(solid, "solid-cells", 3_ik, CELLS)
    call rom_check(RomMeshDataCfgAddRegion(mesh, skin), "RomMeshDataCfgAddRegion")
    call rom_check(RomSetSolverId(skin, rom_c_string("skin")), "RomSetSolverId")
    call rom_check(RomRegionCfgSetCaption(skin, rom_c_string("Skin")), "RomRegionCfgSetCaption")
    call addSupport(skin, "skin-faces", 2_ik, FACES)

    field = addField(setup, "displacement", "length", "m", NODES)
    call addComponent(field, "ux")
    call addComponent(field, "uy")
    call addComponent(field, "uz")
    call rom_check(RomFieldCfgAddSupport(field, rom_c_string("solid-nodes")), "RomFieldCfgAddSupport")
    field = addField(setup, "pressure", "pressure", "Pa", CELLS)
    call addComponent(field, "p")
    call rom_check(RomFieldCfgAddSupport(field, rom_c_string("solid-cells")), "RomFieldCfgAddSupport")
    call rom_check(RomFieldCfgAddSupport(field, rom_c_string("skin-faces")), "RomFieldCfgAddSupport")

    call rom_check(RomConfigurationCheck(setup), "RomConfigurationCheck")
    call rom_check(RomPersistableSave(setup, path("setup", RomGetConfigurationFileExtension())), &
        "save the setup")
    call rom_check(RomSetupCfgSaveMeshConfiguration(setup, path("mesh", RomGetConfigurationFileExtension())), &
        "RomSetupCfgSaveMeshConfiguration")
    call rom_check(RomSetupCfgSaveSnapshotConfiguration(setup, &
        path("snapshot", RomGetConfigurationFileExtension())), "RomSetupCfgSaveSnapshotConfiguration")
    call rom_check(RomFactoryRelease(setup), "RomFactoryRelease")
    print "(a)", "1. set-up checked and saved, with its mesh and snapshot configurations"
  end subroutine describeSetup

  subroutine setEntities(mesh, solverId, entityCount, first)
    type(c_ptr), intent(in) :: mesh
    character(*), intent(in) :: solverId
    integer(ik), intent(in) :: entityCount, first
    type(c_ptr) :: support
    integer(ik) :: i

    call rom_check(RomMeshAddSupport(mesh, rom_c_string(solverId), support), "RomMeshAddSupport")
    do i = 0, entityCount - 1
      call rom_check(RomSupportSetEntityId(support, i, first + i), "RomSupportSetEntityId")
    end do
  end subroutine setEntities

  subroutine setElement(element, id, nodeList)
    type(c_ptr), intent(in) :: element
    integer(ik), intent(in) :: id, nodeList(:)
    integer(ik) :: i

    call rom_check(RomSupportEntitySetId(element, id), "RomSupportEntitySetId")
    do i = 0, int(size(nodeList), ik) - 1
      call rom_check(RomStdElementSetConnectivity(element, i, nodeList(i + 1)), "SetConnectivity")
    end do
  end subroutine setElement

  ! 2. The mesh, item by item, each Add checked against the configured sizes.
  subroutine buildMesh()
    type(c_ptr) :: mesh, item
    integer(ik) :: i, f, d

    call rom_check(RomFactoryCreateAndInitMesh(mesh, path("mesh", RomGetConfigurationFileExtension())), &
        "RomFactoryCreateAndInitMesh")
    do i = 0, 11
      call rom_check(RomMeshAddNode(mesh, item), "RomMeshAddNode")
      call rom_check(RomSupportEntitySetId(item, 100_ik + i), "RomSupportEntitySetId")
      do d = 0, 2
        call rom_check(RomNodeSetCoordinate(item, d, coordinates(d + 1, i + 1)), "RomNodeSetCoordinate")
      end do
    end do
    call rom_check(RomMeshAddHex8(mesh, item), "RomMeshAddHex8")
    call setElement(item, 1_ik, hex)
    call rom_check(RomMeshAddTet4(mesh, item), "RomMeshAddTet4")
    call setElement(item, 2_ik, tet)
    call rom_check(RomMeshAddTri3(mesh, item), "RomMeshAddTri3")
    call setElement(item, 3_ik, tri)

    call rom_check(RomMeshAddPolygon(mesh, item), "RomMeshAddPolygon")
    call rom_check(RomSupportEntitySetId(item, 4_ik), "RomSupportEntitySetId")
    call rom_check(RomPolygonSetNodeCount(item, 4_ik), "RomPolygonSetNodeCount")
    do i = 0, 3
      call rom_check(RomPolygonSetConnectivity(item, i, quad(i + 1)), "RomPolygonSetConnectivity")
    end do

    call rom_check(RomMeshAddPolyhedron(mesh, item), "RomMeshAddPolyhedron")
    call rom_check(RomSupportEntitySetId(item, 5_ik), "RomSupportEntitySetId")
    call rom_check(RomPolyhedronSetFaceCount(item, 5_ik), "RomPolyhedronSetFaceCount")
    do f = 0, 4
      call rom_check(RomPolyhedronSetNodeCount(item, f, pyramidFaceSizes(f + 1)), "RomPolyhedronSetNodeCount")
      do i = 0, pyramidFaceSizes(f + 1) - 1
        call rom_check(RomPolyhedronSetConnectivity(item, f, i, pyramidFaces(i + 1, f + 1)), &
            "RomPolyhedronSetConnectivity")
      end do
    end do

    call setEntities(mesh, "solid-nodes", 12_ik, 100_ik)
    call setEntities(mesh, "solid-cells", 3_ik, 1_ik)
    call setEntities(mesh, "skin-faces", 2_ik, 3_ik)
    call rom_check(RomPersistableSave(mesh, path("mesh", RomGetMeshFileExtension())), "save the mesh")
    call rom_check(RomFactoryRelease(mesh), "RomFactoryRelease")
    print "(a)", "2. mesh of 12 nodes, 3 standard elements, 1 polygon and 1 polyhedron saved"
  end subroutine buildMesh

  ! The value a component takes on an entity in this run.
  function valueOf(component, entity) result(value)
    character(*), intent(in) :: component
    integer(ik), intent(in) :: entity
    real(dp) :: value

    value = real(ichar(component(len(component):len(component))), dp) + 0.001_dp * real(entity, dp)
  end function valueOf

  subroutine fill(snapshot, component, support, entityCount, first)
    type(c_ptr), intent(in) :: snapshot
    character(*), intent(in) :: component, support
    integer(ik), intent(in) :: entityCount, first
    type(c_ptr) :: data
    integer(ik) :: i

    call rom_check(RomSnapshotGetComponentData(snapshot, rom_c_string(component), rom_c_string(support), data), &
        "RomSnapshotGetComponentData")
    do i = 0, entityCount - 1
      call rom_check(RomSnapshotComponentDataAddValue(data, first + i, valueOf(component, first + i)), "AddValue")
    end do
  end subroutine fill

  ! 3. and 4. One run: its snapshot, its entry in the cache, and the project.
  subroutine recordRun()
    type(c_ptr) :: snapshot, cache, input, output, project
    integer(ik) :: filled, added
    character(:), allocatable :: snapshotFile

    snapshotFile = path("run-1", RomGetSnapshotFileExtension())
    call rom_check(RomFactoryCreateAndInitSnapshot(snapshot, path("snapshot", RomGetConfigurationFileExtension())), &
        "RomFactoryCreateAndInitSnapshot")
    call fill(snapshot, "ux", "solid-nodes", 12_ik, 100_ik)
    call fill(snapshot, "uy", "solid-nodes", 12_ik, 100_ik)
    call fill(snapshot, "uz", "solid-nodes", 12_ik, 100_ik)
    call fill(snapshot, "p", "solid-cells", 3_ik, 1_ik)
    call fill(snapshot, "p", "skin-faces", 2_ik, 3_ik)
    call rom_check(RomSnapshotIsFilled(snapshot, filled), "RomSnapshotIsFilled")
    call require(filled == 1, "the snapshot is filled")
    call rom_check(RomPersistableSave(snapshot, snapshotFile), "save the snapshot")
    call rom_check(RomFactoryRelease(snapshot), "RomFactoryRelease")
    print "(a)", "3. snapshot of the run filled and saved"

    call rom_check(RomFactoryCreateSnapshotCache(cache), "RomFactoryCreateSnapshotCache")
    call rom_check(RomFactoryCreateUserPoint(input), "RomFactoryCreateUserPoint")
    call rom_check(RomFactoryCreateUserPoint(output), "RomFactoryCreateUserPoint")
    call rom_check(RomPointSetValue(input, rom_c_string("load"), 1500.0_dp), "RomPointSetValue")
    call rom_check(RomPointSetValue(output, rom_c_string("max-displacement"), 0.0123_dp), "RomPointSetValue")
    call rom_check(RomSnapshotCachePush(cache, input, output, snapshotFile, added), "RomSnapshotCachePush")
    call require(added == 1, "the run is added to the cache")
    call rom_check(RomPersistableSave(cache, path("runs", RomGetSnapshotCacheFileExtension())), "save the cache")
    call rom_check(RomFactoryCreateProject(project), "RomFactoryCreateProject")
    call rom_check(RomPersistableSave(project, path("project", RomGetProjectFileExtension())), "save the project")
    call rom_check(RomFactoryRelease(project), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(output), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(input), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(cache), "RomFactoryRelease")
    print "(a)", "4. run pushed into the snapshot cache; cache and project saved"
  end subroutine recordRun

  ! 5. The files read back, then the resumed mesh updated through its tables.
  subroutine resumeAll()
    type(c_ptr) :: setup, meshCfg, elementsCfg, standardCfg, meshData, nodeData, elementData, standard
    type(c_ptr) :: user, polygons, support, snapshot, data, cache, query, entry, point, project, table, file
    real(dp), pointer :: xyz(:, :)
    integer(ik), pointer :: ids(:), types(:), connectivity(:), entities(:)
    real(dp) :: value, moved(3, 12)
    integer(ik) :: filled, id, standardCount, i

    ! The set-up: the standard element part is there, with its three elements.
    call rom_check(RomFactoryCreateSetupCfg(setup), "RomFactoryCreateSetupCfg")
    call rom_check(RomPersistableResume(setup, path("setup", RomGetConfigurationFileExtension())), &
        "resume the setup")
    call rom_check(RomConfigurationCheck(setup), "RomConfigurationCheck")
    call rom_check(RomSetupCfgGetMeshData(setup, meshCfg), "RomSetupCfgGetMeshData")
    call rom_check(RomMeshDataCfgGetElementDataCfg(meshCfg, elementsCfg), "RomMeshDataCfgGetElementDataCfg")
    call require(logical(RomElementDataCfgTryGetStdElementDataCfg(elementsCfg, standardCfg)), &
        "the set-up has standard elements")
    call rom_check(RomStdElementDataCfgGetCount(standardCfg, standardCount), "RomStdElementDataCfgGetCount")
    call require(standardCount == 3, "three standard elements")

    ! The mesh data: node, element and support tables as built.
    call rom_check(RomFactoryCreateMeshData(meshData), "RomFactoryCreateMeshData")
    call rom_check(RomPersistableResume(meshData, path("mesh", RomGetMeshFileExtension())), "resume the mesh")
    call rom_check(RomMeshDataGetNodeData(meshData, nodeData), "RomMeshDataGetNodeData")
    call rom_check(RomNodeDataGetCoordinateTable(nodeData, table), "RomNodeDataGetCoordinateTable")
    call c_f_pointer(table, xyz, [3, 12])
    call rom_check(RomNodeDataGetIds(nodeData, table), "RomNodeDataGetIds")
    call c_f_pointer(table, ids, [12])
    call require(all(ids == [(100 + i, i = 0, 11)]), "node ids")
    call require(all(xyz == coordinates), "node coordinates")
    call rom_check(RomMeshDataGetElementData(meshData, elementData), "RomMeshDataGetElementData")
    call rom_check(RomElementDataGetStdElementData(elementData, standard), "RomElementDataGetStdElementData")
    call rom_check(RomStdElementDataGetTypes(standard, table), "RomStdElementDataGetTypes")
    call c_f_pointer(table, types, [3])
    call rom_check(RomStdElementDataGetConnectivityTable(standard, table), "GetConnectivityTable")
    call c_f_pointer(table, connectivity, [15])
    call require(all(types == [RomElementTypeHex8, RomElementTypeTet4, RomElementTypeTri3]), &
                 "element types Hex8, Tet4, Tri3")
    call require(all(connectivity == [hex, tet, tri]), "standard element connectivity")
    call rom_check(RomElementDataGetUserElementData(elementData, user), "RomElementDataGetUserElementData")
    call rom_check(RomUserElementDataGetPolygonData(user, polygons), "RomUserElementDataGetPolygonData")
    call rom_check(RomPolygonDataGetConnectivityTable(polygons, table), "RomPolygonDataGetConnectivityTable")
    call c_f_pointer(table, connectivity, [5])
    call require(all(connectivity == [4_ik, quad]), "polygon node count and connectivity")
    call rom_check(RomMeshDataGetSupportData(meshData, rom_c_string("skin-faces"), support), &
        "RomMeshDataGetSupportData")
    call rom_check(RomSupportDataGetEntities(support, table), "RomSupportDataGetEntities")
    call c_f_pointer(table, entities, [2])
    call require(all(entities == [3, 4]), "support entities")

    ! The snapshot: filled, with the values of the run.
    call rom_check(RomFactoryCreateSnapshot(snapshot), "RomFactoryCreateSnapshot")
    call rom_check(RomPersistableResume(snapshot, path("run-1", RomGetSnapshotFileExtension())), &
        "resume the snapshot")
    call rom_check(RomSnapshotIsFilled(snapshot, filled), "RomSnapshotIsFilled")
    call require(filled == 1, "the resumed snapshot is filled")
    call rom_check(RomSnapshotGetComponentData(snapshot, rom_c_string("uz"), rom_c_string("solid-nodes"), data), &
        "RomSnapshotGetComponentData")
    call rom_check(RomSnapshotComponentDataGetValue(data, 11_ik, id, value), "RomSnapshotComponentDataGetValue")
    call require(id == 111 .and. value == valueOf("uz", 111_ik), "snapshot value")

    ! The cache: the run is found by its input point, with its output and snapshot file.
    call rom_check(RomFactoryCreateSnapshotCache(cache), "RomFactoryCreateSnapshotCache")
    call rom_check(RomPersistableResume(cache, path("runs", RomGetSnapshotCacheFileExtension())), &
        "resume the cache")
    call rom_check(RomFactoryCreateUserPoint(query), "RomFactoryCreateUserPoint")
    call rom_check(RomPointSetValue(query, rom_c_string("load"), 1500.0_dp), "RomPointSetValue")
    call rom_check(RomSnapshotCachePull(cache, query, entry), "RomSnapshotCachePull")
    call require(c_associated(entry), "the cache finds the run")
    call rom_check(RomSnasphotCacheEntryGetSnapshotFile(entry, file), "RomSnasphotCacheEntryGetSnapshotFile")
    call require(rom_c_string(rom_string(file)) == path("run-1", RomGetSnapshotFileExtension()), &
        "the cache names the snapshot")
    call rom_check(RomSnapshotCacheEntryGetOutputPoint(entry, point), "RomSnapshotCacheEntryGetOutputPoint")
    call require(RomPointTryGetValue(point, rom_c_string("max-displacement"), value) == 1, &
        "the cache keeps the output")
    call require(value == 0.0123_dp, "the output value")

    call rom_check(RomFactoryCreateProject(project), "RomFactoryCreateProject")
    call rom_check(RomPersistableResume(project, path("project", RomGetProjectFileExtension())), &
        "resume the project")

    ! The solver moves its nodes: the new coordinates are copied into the table, and the
    ! node ids become the solver's own array, which the library then reads in place.
    call rom_check(RomMeshDataGetMutableNodeData(meshData, nodeData), "RomMeshDataGetMutableNodeData")
    moved = coordinates + 1.0_dp
    call rom_check(RomNodeDataCopyCoordinateTable(nodeData, moved, 0_ik, 0_ik), "RomNodeDataCopyCoordinateTable")
    call rom_check(RomNodeDataGetCoordinateTable(nodeData, table), "RomNodeDataGetCoordinateTable")
    call c_f_pointer(table, xyz, [3, 12])
    call require(all(xyz == moved), "moved node coordinates")
    solverNodeIds = [(500 + i, i = 0, 11)]
    call rom_check(RomNodeDataSetIds(nodeData, solverNodeIds), "RomNodeDataSetIds")
    call rom_check(RomNodeDataGetIds(nodeData, table), "RomNodeDataGetIds")
    call c_f_pointer(table, ids, [12])
    call require(all(ids == solverNodeIds), "the solver's node ids")
    solverNodeIds(12) = 999
    call require(ids(12) == 999, "the library reads the solver's array in place")

    call rom_check(RomFactoryRelease(project), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(query), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(cache), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(snapshot), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(meshData), "RomFactoryRelease")
    call rom_check(RomFactoryRelease(setup), "RomFactoryRelease")
    print "(a)", "5. files resumed: tables equal, snapshot filled, the cache finds the run; nodes moved in place"
  end subroutine resumeAll

end program workflow
