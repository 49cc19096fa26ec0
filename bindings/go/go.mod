module kxtcp64

go 1.19
