// Reads module descriptions as a device's build does, and writes the modules' Ninja rules. It is
// Soong with only the module types of C++: Debian has Soong's sources, but no program. With
// -asked_by FOLDER it fails for each module outside the folder that no module in it asks for.
package main

import (
	"flag"
	"fmt"
	"os"
	"path/filepath"

	"android/soong/android"
	_ "android/soong/cc"

	"github.com/google/blueprint"
	"github.com/google/blueprint/bootstrap"
)

func main() {
	folder := flag.String("asked_by", "", "the folder of the modules that ask for all others")
	flag.Parse()
	root := filepath.Dir(flag.Arg(0))
	config, err := android.NewConfig(root, bootstrap.BuildDir, bootstrap.ModuleListFile)
	if err != nil {
		fmt.Fprintln(os.Stderr, err)
		os.Exit(1)
	}
	ctx := android.NewContext()
	ctx.Register()
	ctx.SetNameInterface(android.NewNameResolver(func(*android.Namespace) bool { return true }))
	bootstrap.Main(ctx.Context, config)

	unasked := map[string]bool{}
	ctx.VisitAllModules(func(m blueprint.Module) { unasked[ctx.ModuleName(m)] = true })
	ask := func(m blueprint.Module) { delete(unasked, ctx.ModuleName(m)) }
	inFolder := func(m blueprint.Module) bool { return ctx.ModuleDir(m) == *folder }
	ctx.VisitAllModulesIf(inFolder, func(m blueprint.Module) {
		ask(m)
		ctx.VisitDepsDepthFirst(m, ask)
	})
	for name := range unasked {
		fmt.Fprintf(os.Stderr, "no module of %[2]s asks for %[1]s\n", name, *folder)
	}
	if len(unasked) > 0 {
		os.Exit(1)
	}
}
