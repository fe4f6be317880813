// A bracket with a hole, one metre long: gmsh -3 -format msh22 bracket.geo -o bracket.msh
SetFactory("OpenCASCADE");
Box(1) = {0, 0, 0, 1, 0.3, 0.1};
Box(2) = {0.8, 0, 0.1, 0.2, 0.3, 0.3};
BooleanUnion(3) = { Volume{1}; Delete; }{ Volume{2}; Delete; };
Cylinder(4) = {0.45, 0.15, -0.1, 0, 0, 0.3, 0.08};
BooleanDifference(5) = { Volume{3}; Delete; }{ Volume{4}; Delete; };
If (!Exists(size))
  size = 0.035;
EndIf
Mesh.CharacteristicLengthMin = size;
Mesh.CharacteristicLengthMax = size;
